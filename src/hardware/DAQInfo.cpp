// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DAQInfoPrivate.h"

#include "daqmx/KeepAlive.h"

#include <QDebug>
#include <algorithm>

namespace vt {

namespace {

constexpr int RefreshWaitMs = 5000;
constexpr int ShutDownWaitMs = 5000;
constexpr int ReadyPollMs = 200;
constexpr int RecoveryWaitMs = 10000;

} // namespace

void DAQInfo::Private::answerLater(Answer done, bool value)
{
    answers.post([this, asked = selection, done = std::move(done), value] {
        if (asked == selection && done)
            done(value);
    });
}

// ---- selection ----

void DAQInfo::Private::changeSelection(std::optional<DAQDevice> device)
{
    ++selection;
    choice.reset();
    selected = std::move(device);
    analogInputs = 0;
    isRecovering = false;
    isBuildInfoLatched = false;
    eepromJobs.clear();
    isEepromBusy = false;
    eepromTimer->stop();
    stimulation.beginSelection(selection);
    if (!wait)
        return;
    wait.reset();
    pollTimer->stop();
    emit q->waitingEnded();
}

void DAQInfo::Private::closeSession()
{
    isSessionOpen = false;
    hardware->run(
        [](HardwareSession& session) {
            session.close();
            return true;
        },
        [](bool) {});
}

const DAQDevice* DAQInfo::Private::listed(const QString& name) const
{
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&name](const DAQDevice& device) { return device.name == name; });
    return found == devices.end() ? nullptr : &*found;
}

bool DAQInfo::Private::isSelectedListed() const
{
    const DAQDevice* device = listed(selected->name);
    return device && device->serial == selected->serial;
}

void DAQInfo::Private::applyList(DeviceVector list)
{
    const bool isChanged = list != devices;
    devices = std::move(list);
    if (isSessionOpen && !isSelectedListed()) {
        if (isAcquisitionStarted) {
            qWarning().noquote() << "DAQInfo::refreshDAQList: selected device" << selected->name
                                 << "no longer enumerated - kept while acquisition runs";
        } else {
            qWarning().noquote() << "DAQInfo::refreshDAQList: selected device" << selected->name
                                 << "no longer enumerated — tearing down stale I2C session";
            closeSession();
        }
    }
    if (isChanged)
        emit q->deviceListChanged();
}

void DAQInfo::Private::selectChosen()
{
    Choice chosen = *std::exchange(choice, std::nullopt);
    const DAQDevice* device = listed(chosen.name);
    if (!device || device->serial.isEmpty()) {
        qWarning().noquote() << "DAQInfo::selectDevice - no device" << chosen.name
                             << "that tells its serial number";
        answerLater(std::move(chosen.done), false);
        return;
    }
    if (mayUse && !mayUse(*device)) {
        answerLater(std::move(chosen.done), false);
        return;
    }
    changeSelection(*device);
    isSessionOpen = true;
    struct Opened
    {
        bool isUsable;
        int analogInputs;
    };
    ask(
        [api = &driver, unit = *selected, number = selection](HardwareSession& session) {
            return Opened{session.open(unit, number), countAnalogInputs(*api, unit.name)};
        },
        [this, done = std::move(chosen.done)](const Opened& opened) {
            analogInputs = opened.analogInputs;
            if (done)
                done(opened.isUsable);
        });
}

// ---- the device list ----

void DAQInfo::Private::look()
{
    isListOwed = true;
    isNextLookWanted = false;
    hardware->run(
        [api = &driver](HardwareSession&) { return enumerateDevices(*api); },
        [this, mine = ++looks](std::optional<DeviceVector> list) { listAnswered(mine, std::move(list)); });
}

void DAQInfo::Private::listAnswered(quint64 look, std::optional<DeviceVector> list)
{
    isListOwed = false;
    if (list)
        applyList(std::move(*list));
    if (choice && choice->look <= look)
        selectChosen();
    if (isListOwed)
        return; // whoever heard of the list has asked for the next one
    if (isNextLookWanted)
        this->look();
    else if (isRefreshing)
        endRefresh();
}

void DAQInfo::Private::giveUpRefresh()
{
    qWarning("DAQInfo::refreshDAQList: the driver does not answer yet");
    if (choice)
        selectChosen();
    endRefresh();
}

void DAQInfo::Private::endRefresh()
{
    isRefreshing = false;
    refreshTimer->stop();
    emit q->deviceListRefreshed();
}

// ---- waiting for the device ----

void DAQInfo::Private::poll()
{
    if (!wait || wait->isLookPending)
        return; // a look that is under way decides, also when the time has run out meanwhile
    if (time.monotonicMs() - wait->startedMs >= wait->timeoutMs) {
        endWait(false);
        return;
    }
    wait->isLookPending = true;
    ask([api = &driver, device = *selected](HardwareSession&) { return lookForDevice(*api, device); },
        [this, waitId = waits](DevicePresence presence) {
            if (wait && waitId == waits)
                lookAnswered(presence == DevicePresence::Present);
        });
}

void DAQInfo::Private::lookAnswered(bool isPresent)
{
    wait->isLookPending = false;
    if (isPresent || time.monotonicMs() - wait->startedMs >= wait->timeoutMs)
        endWait(isPresent);
}

void DAQInfo::Private::endWait(bool isReady)
{
    pollTimer->stop();
    const Wait ended = *std::exchange(wait, std::nullopt);
    qDebug().noquote() << "DAQInfo::waitForDeviceReady:" << (isReady ? "ready" : "timeout") << "after"
                       << time.monotonicMs() - ended.startedMs << "ms";
    emit q->waitingEnded();
    if (ended.done)
        ended.done(isReady);
}

void DAQInfo::Private::recoverNow(Answer done)
{
    if (isAcquisitionStarted) {
        qWarning("DAQInfo::recoverI2CSession refused: acquisition already started");
        isRecovering = false;
        done(false);
        return;
    }
    isSessionOpen = true;
    ask([device = *selected](HardwareSession& session) { return session.rebuild(device); },
        [this, done = std::move(done)](bool isRecovered) {
            isRecovering = false;
            done(isRecovered);
        });
}

// ---- interface ----

DAQInfo::DAQInfo(DaqmxApi& driver, TimeSource& time, QObject* parent)
    : QObject(parent), d(std::make_unique<Private>(this, driver, time))
{
    const StimulationHardware* hardware = &d->stimulation;
    connect(hardware, &StimulationHardware::pushButtonPressed, this, &DAQInfo::pushButtonPressed);
    connect(hardware, &StimulationHardware::sensorCountChanged, this, &DAQInfo::sensorCountChanged);
    connect(hardware, &StimulationHardware::sensorShorted, this, &DAQInfo::sensorShorted);
    connect(hardware, &StimulationHardware::ledStateChanged, this, &DAQInfo::ledStateChanged);
}

DAQInfo::~DAQInfo()
{
    d->pollTimer.reset();
    d->eepromTimer.reset();
    d->refreshTimer.reset();
    if (d->hardware->shutDown(ShutDownWaitMs))
        return;
    qCritical("DAQInfo::~DAQInfo - the driver does not return, hardware thread abandoned");
    keepAliveForever(d->hardware);
}

std::vector<DAQDevice> DAQInfo::devices() const
{
    return d->devices;
}

std::optional<DAQDevice> DAQInfo::selectedDevice() const
{
    return d->selected;
}

int DAQInfo::analogInputCount() const
{
    return d->analogInputs;
}

void DAQInfo::refreshDAQList()
{
    d->isRefreshing = true;
    d->refreshTimer->start(RefreshWaitMs, TimerMode::SingleShot);
    if (d->isListOwed)
        d->isNextLookWanted = true;
    else
        d->look();
}

bool DAQInfo::isRefreshing() const
{
    return d->isRefreshing;
}

void DAQInfo::selectDevice(const QString& name, std::function<void(bool)> done)
{
    deselect();
    refreshDAQList(); // another unit may have taken the name since the last look
    d->choice = Private::Choice{name, std::move(done), d->looks + (d->isNextLookWanted ? 1U : 0U)};
}

void DAQInfo::setPermission(std::function<bool(const DAQDevice&)> mayUse)
{
    d->mayUse = std::move(mayUse);
}

void DAQInfo::deselect()
{
    d->changeSelection(std::nullopt);
    if (d->isSessionOpen)
        d->closeSession();
}

void DAQInfo::waitForDeviceReady(int timeoutMs, std::function<void(bool)> done)
{
    if (d->wait)
        d->endWait(false);
    if (!d->selected) {
        d->answerLater(std::move(done), false);
        return;
    }
    const QString name = d->selected->name;
    qDebug().noquote() << "DAQInfo::waitForDeviceReady: waiting up to" << timeoutMs << "ms for" << name
                       << "to re-enumerate";
    ++d->waits;
    d->wait = Private::Wait{d->time.monotonicMs(), timeoutMs, std::move(done), false};
    emit waitingForDevice(name);
    d->pollTimer->start(ReadyPollMs, TimerMode::Repeating);
    d->poll();
}

void DAQInfo::recoverI2CSession(std::function<void(bool)> done)
{
    if (d->isAcquisitionStarted) {
        qWarning("DAQInfo::recoverI2CSession refused: acquisition already started");
        d->answerLater(std::move(done), false);
        return;
    }
    if (!d->selected) {
        qWarning("DAQInfo::recoverI2CSession: no device selected");
        d->answerLater(std::move(done), false);
        return;
    }
    if (d->isRecovering) {
        qWarning("DAQInfo::recoverI2CSession refused: recovery already running");
        d->answerLater(std::move(done), false);
        return;
    }
    d->isRecovering = true;
    waitForDeviceReady(RecoveryWaitMs, [this, done = std::move(done)](bool isReady) mutable {
        if (isReady) {
            d->recoverNow(std::move(done));
            return;
        }
        qWarning().noquote() << "DAQInfo::recoverI2CSession: device" << d->selected->name
                             << "did not re-enumerate within" << RecoveryWaitMs;
        d->isRecovering = false;
        done(false);
    });
}

void DAQInfo::isDevicePresent(std::function<void(bool)> done)
{
    if (!d->selected || d->isLookPending) {
        d->answerLater(std::move(done), false);
        return;
    }
    d->isLookPending = true;
    d->hardware->run([api = &d->driver, device = *d->selected](
                         HardwareSession&) { return lookForDevice(*api, device) == DevicePresence::Present; },
                     [this, asked = d->selection, done = std::move(done)](bool isPresent) {
                         d->isLookPending = false;
                         if (asked == d->selection)
                             done(isPresent);
                     });
}

void DAQInfo::setAcquisitionStarted(bool started)
{
    d->isAcquisitionStarted = started;
    d->hardware->run(
        [started](HardwareSession& session) {
            session.setAcquiring(started);
            return true;
        },
        [](bool) {});
}

} // namespace vt
