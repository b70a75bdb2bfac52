// SPDX-License-Identifier: GPL-3.0-or-later
#include "daqmx/DaqmxStatus.h"

#include <QDebug>
#include <array>

namespace vt {

namespace {

constexpr std::size_t ErrorStringSize = 512;
constexpr std::size_t ExtendedErrorSize = 2048;

} // namespace

QString daqmxExtendedErrorText(DaqmxApi& driver)
{
    std::array<char, ExtendedErrorSize> text{};
    const std::int32_t status =
        driver.DAQmxGetExtendedErrorInfo(text.data(), static_cast<std::uint32_t>(text.size()));
    if (status < 0)
        return {};
    text.back() = '\0';
    return QString::fromLocal8Bit(text.data());
}

QString daqmxErrorText(DaqmxApi& driver, std::int32_t status)
{
    std::array<char, ErrorStringSize> text{};
    const std::int32_t asked =
        driver.DAQmxGetErrorString(status, text.data(), static_cast<std::uint32_t>(text.size()));
    text.back() = '\0';
    if (asked < 0 || text.front() == '\0')
        return QStringLiteral("status %1").arg(status);
    return QString::fromLocal8Bit(text.data());
}

bool daqmxSucceeded(DaqmxApi& driver, std::int32_t status, const char* step)
{
    if (status >= 0)
        return true;
    // The extended text belongs to the last call, so it is fetched before any other.
    const QString extended = daqmxExtendedErrorText(driver);
    qWarning().noquote() << step << "failed:" << daqmxErrorText(driver, status);
    if (!extended.isEmpty())
        qWarning().noquote() << extended;
    return false;
}

} // namespace vt
