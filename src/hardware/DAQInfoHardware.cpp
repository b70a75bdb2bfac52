// SPDX-License-Identifier: GPL-3.0-or-later
// What DAQInfo does with the things that hang on the selected device.
#include "hardware/DAQInfoPrivate.h"

#include "hardware/DataEeprom.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

constexpr int HighestEepromAddress = 254;

/// Logs why not.
[[nodiscard]] bool isWordAddress(const char* function, int address)
{
    if (address % 2 != 0) {
        qWarning().noquote()
            << QStringLiteral("DAQInfo::%1: address must be even:").arg(QLatin1String(function)) << address;
        return false;
    }
    if (address >= 0 && address <= HighestEepromAddress)
        return true;
    qWarning().noquote() << QStringLiteral("DAQInfo::%1: address out of range:").arg(QLatin1String(function))
                         << address;
    return false;
}

/// Build information as it goes to the log and to listeners.
struct BuildInfoOutcome
{
    std::optional<DaqBuildInfo> info;
    bool isFresh;
};

} // namespace

// ---- microcontroller ----

void DAQInfo::probeI2C(std::function<void(bool)> done)
{
    d->ask([](HardwareSession& session) { return session.probe(); }, std::move(done));
}

void DAQInfo::getMCUHeader(std::function<void(std::optional<MCUHeader>)> done)
{
    const std::optional<DAQDevice> mayRebuild = d->isAcquisitionStarted ? std::nullopt : d->selected;
    d->ask(
        [mayRebuild](HardwareSession& session) {
            if (mayRebuild && session.hasLostBus() && !session.rebuild(*mayRebuild))
                qWarning("DAQInfo::getMCUHeader - the I2C session could not be rebuilt");
            return session.readHeader();
        },
        [this, done = std::move(done)](std::optional<MCUHeader> header) {
            if (header)
                d->captureBuildInfo(*header);
            done(std::move(header));
        });
}

void DAQInfo::Private::runEeprom(std::function<void()> job)
{
    eepromJobs.push_back(std::move(job));
    if (!isEepromBusy)
        nextEeprom();
}

void DAQInfo::Private::nextEeprom()
{
    isEepromBusy = !eepromJobs.empty();
    if (!isEepromBusy)
        return;
    const std::function<void()> job = std::move(eepromJobs.front());
    eepromJobs.pop_front();
    job();
}

void DAQInfo::Private::finishEeprom()
{
    const std::function<void()> answer = std::exchange(eepromWritten, {});
    nextEeprom();
    if (answer)
        answer();
}

void DAQInfo::readDataEE(int address, std::function<void(std::optional<quint16>)> done)
{
    if (!isWordAddress("readDataEE", address)) {
        d->answerLater([done = std::move(done)](bool) { done(std::nullopt); }, false);
        return;
    }
    d->runEeprom([this, at = static_cast<std::uint8_t>(address), done = std::move(done)] {
        d->ask([at](HardwareSession& session) { return session.readDataEE(at); },
               [this, done](std::optional<std::uint16_t> value) {
                   d->nextEeprom();
                   done(value);
               });
    });
}

void DAQInfo::writeDataEE(int address, quint16 value, std::function<void(bool)> done)
{
    if (!isWordAddress("writeDataEE", address)) {
        d->answerLater(std::move(done), false);
        return;
    }
    d->runEeprom([this, at = static_cast<std::uint8_t>(address), value, done = std::move(done)] {
        d->ask([at, value](HardwareSession& session) { return session.writeDataEE(at, value); },
               [this, done](bool isWritten) {
                   d->eepromWritten = [done, isWritten] { done(isWritten); };
                   if (isWritten)
                       d->eepromTimer->start(dataeeprom::WriteTimeMs, TimerMode::SingleShot);
                   else
                       d->finishEeprom();
               });
    });
}

// ---- build information ----

void DAQInfo::Private::captureBuildInfo(const MCUHeader& header)
{
    const DaqBuildInfo info = decodeBuildInfo(header.buildInfo);
    q->handleBuildInfoCaptured(info, isPlausible(info));
}

void DAQInfo::setBuildInfoCachePath(const QString& path)
{
    d->buildInfoCache = BuildInfoCache(path);
}

void DAQInfo::handleBuildInfoCaptured(const DaqBuildInfo& info, bool valid)
{
    if (!d->selected || d->selected->serial.isEmpty()) {
        qWarning("DAQInfo::handleBuildInfoCaptured - no serial for selected device");
        return;
    }
    if (std::exchange(d->isBuildInfoLatched, true))
        return;
    const QString serial = d->selected->serial;
    // The cache is a file: neither this thread nor the hardware's waits for the disk.
    d->disk.run(
        d->answers,
        [cache = d->buildInfoCache, serial, info, valid] {
            if (valid)
                cache.store(serial, info);
            return BuildInfoOutcome{valid ? info : cache.load(serial), valid};
        },
        [this, asked = d->selection, serial, info](const BuildInfoOutcome& outcome) {
            if (asked != d->selection)
                return;
            if (outcome.info)
                qInfo().noquote() << QStringLiteral("DAQ build-info [%1] serial=%2 %3")
                                         .arg(outcome.isFresh ? QStringLiteral("fresh")
                                                              : QStringLiteral("cache"),
                                              serial, buildInfoText(*outcome.info));
            else
                qWarning().noquote() << QStringLiteral("DAQ build-info [unknown] serial=%1 (fresh read "
                                                       "invalid, no valid cache)")
                                            .arg(serial);
            emit buildInfoAvailable(outcome.info.value_or(info), outcome.info.has_value());
        });
}

void DAQInfo::resetBuildInfoLatch()
{
    d->isBuildInfoLatched = false;
}

void DAQInfo::deviceInfo()
{
    if (!d->selected) {
        qDebug("DAQInfo::deviceInfo: no device selected");
        return;
    }
    qDebug().noquote() << "DAQInfo::deviceInfo:" << d->selected->name << "type" << d->selected->productType
                       << "serial" << d->selected->serial;
    qDebug().noquote() << "Device is Sim:" << (d->selected->simulated ? "True" : "False");
}

// ---- stimulation unit, port expanders, light ----

StimulationHardware& DAQInfo::stimulation()
{
    return d->stimulation;
}

void DAQInfo::startDIORecording(int nChannels)
{
    d->stimulation.startDIORecording(nChannels);
}

void DAQInfo::stopDIORecording()
{
    d->stimulation.stopDIORecording();
}

void DAQInfo::startVexioPolling()
{
    d->stimulation.startVexioPolling();
}

void DAQInfo::stopVexioPolling()
{
    d->stimulation.stopVexioPolling();
}

void DAQInfo::pulseDioOutputs(std::uint16_t cageMask)
{
    d->stimulation.pulseOutputs(cageMask);
}

void DAQInfo::toggleLEDCtrl()
{
    d->hardware->run(
        [](HardwareSession& session) {
            session.toggleLEDCtrl();
            return true;
        },
        [](bool) {});
}

} // namespace vt
