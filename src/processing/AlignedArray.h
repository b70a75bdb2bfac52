// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <span>

namespace vt {

/// A fixed number of doubles that start on a cache line (64 bytes), zero at first. A failed allocation leaves
/// the array empty instead of throwing, so that a session can go on with one filter less.
class AlignedArray
{
public:
    AlignedArray() = default;
    explicit AlignedArray(std::size_t size)
        : m_values(static_cast<double*>(
              ::operator new (size * sizeof(double), std::align_val_t{Alignment}, std::nothrow))),
          m_size(m_values ? size : 0)
    {
        clear();
    }

    [[nodiscard]] bool valid() const { return m_values != nullptr; }
    [[nodiscard]] std::size_t size() const { return m_size; }
    [[nodiscard]] double* data() { return m_values.get(); }
    [[nodiscard]] const double* data() const { return m_values.get(); }
    [[nodiscard]] double& operator[](std::size_t i) { return m_values.get()[i]; }
    [[nodiscard]] double operator[](std::size_t i) const { return m_values.get()[i]; }
    [[nodiscard]] std::span<double> span() { return {data(), m_size}; }
    [[nodiscard]] std::span<const double> span() const { return {data(), m_size}; }
    void clear() { std::fill_n(data(), m_size, 0.0); }

private:
    static constexpr std::size_t Alignment = 64;
    struct Free
    {
        void operator()(double* values) const { ::operator delete (values, std::align_val_t{Alignment}); }
    };
    std::unique_ptr<double, Free> m_values;
    std::size_t m_size = 0;
};

} // namespace vt
