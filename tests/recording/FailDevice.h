// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <algorithm>

namespace vt::test {

/// A file on a disk that stops taking bytes: the write that reaches the limit is cut short there.
class FailDevice : public QFile
{
public:
    enum class Failure {
        FromThenOn, ///< every later write fails
        Once        ///< later writes succeed again
    };
    using QFile::QFile;
    void failAfter(qint64 bytes, Failure failure)
    {
        m_left = bytes;
        m_failure = failure;
    }

protected:
    qint64 writeData(const char* data, qint64 size) override
    {
        if (m_left < 0 || size <= m_left) {
            m_left -= m_left < 0 ? 0 : size;
            return QFile::writeData(data, size);
        }
        const qint64 part = m_left;
        m_left = m_failure == Failure::Once ? -1 : 0;
        return part > 0 ? QFile::writeData(data, part) : -1;
    }

private:
    qint64 m_left = -1; ///< bytes still taken; negative: no limit
    Failure m_failure = Failure::Once;
};

} // namespace vt::test
