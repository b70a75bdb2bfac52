// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <new>

namespace vt {

/// A static object that static destruction leaves alone: threads of the driver may use it up to the very end
/// of the process. Use as a function-level static.
template <typename T>
class NeverDestroyed
{
public:
    NeverDestroyed() : m_object(::new (static_cast<void*>(m_storage)) T) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    [[nodiscard]] T& get() { return *m_object; }

private:
    alignas(T) std::byte m_storage[sizeof(T)];
    T* const m_object;
};

} // namespace vt
