// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "hardware/BuildInfoCache.h"
#include "hardware/DAQInfo.h"
#include "hardware/DiskThread.h"
#include "hardware/HardwareThread.h"
#include "hardware/StimulationHardware.h"

#include <deque>

namespace vt {

/// Inside of DAQInfo: DAQInfo.cpp selects, waits and recovers, DAQInfoHardware.cpp uses what hangs on the
/// selected device.
struct DAQInfo::Private
{
    Private(DAQInfo* owner, DaqmxApi& api, TimeSource& timeSource)
        : q(owner), driver(api), time(timeSource), buildInfoCache(BuildInfoCache::defaultPath()),
          hardware(std::make_shared<HardwareThread>(api, timeSource, &answers, &stimulation)),
          pollTimer(timeSource.createTimer(owner, [this] { poll(); })),
          eepromTimer(timeSource.createTimer(owner, [this] { finishEeprom(); })),
          refreshTimer(timeSource.createTimer(owner, [this] { giveUpRefresh(); }))
    {
        stimulation.attach(hardware);
    }

    using Answer = std::function<void(bool)>;
    using DeviceVector = std::vector<DAQDevice>;

    DAQInfo* const q;
    DaqmxApi& driver;
    TimeSource& time;
    DeviceVector devices;
    std::function<bool(const DAQDevice&)> mayUse; ///< empty: every device
    std::optional<DAQDevice> selected;
    int analogInputs = 0;
    bool isSessionOpen = false;
    bool isAcquisitionStarted = false;
    bool isRecovering = false;
    quint64 selection = 0; ///< counts selections; answers to an older one are dropped
    bool isLookPending = false;

    quint64 looks = 0;             ///< at the whole list, begun so far
    bool isListOwed = false;       ///< the driver has not answered the newest look
    bool isNextLookWanted = false; ///< another one follows when it has
    bool isRefreshing = false;     ///< deviceListRefreshed is due
    /// A selection that waits for a list not older than itself.
    struct Choice
    {
        QString name;
        Answer done;
        quint64 look; ///< the first one whose list counts
    };
    std::optional<Choice> choice;

    struct Wait
    {
        qint64 startedMs;
        int timeoutMs;
        Answer done;
        bool isLookPending;
    };
    std::optional<Wait> wait;
    quint64 waits = 0;

    BuildInfoCache buildInfoCache;
    DiskThread disk{QStringLiteral("unit's files")};
    bool isBuildInfoLatched = false; ///< told once per session with a device

    /// EEPROM accesses run one at a time; the next starts when the one before has had its 6 ms.
    std::deque<std::function<void()>> eepromJobs;
    bool isEepromBusy = false;
    std::function<void()> eepromWritten; ///< what follows the 6 ms

    StimulationHardware stimulation; ///< receives what answers delivers, so it goes after them
    Inbox answers;
    std::shared_ptr<HardwareThread> hardware;
    std::unique_ptr<Timer> pollTimer;
    std::unique_ptr<Timer> eepromTimer;
    std::unique_ptr<Timer> refreshTimer;

    /// Runs work(session) on the hardware thread and done(value) here, unless the selection has changed.
    template <typename Work, typename Done>
    void ask(Work work, Done done)
    {
        hardware->run(std::move(work), [this, asked = selection, done = std::move(done)](auto value) mutable {
            if (asked == selection)
                done(std::move(value));
        });
    }
    /// The same for an answer that is known: later, so that every callback comes after the call.
    void answerLater(Answer done, bool value);

    void changeSelection(std::optional<DAQDevice> device);
    void closeSession();
    [[nodiscard]] const DAQDevice* listed(const QString& name) const;
    void look();
    void listAnswered(quint64 look, std::optional<DeviceVector> list);
    void giveUpRefresh();
    void endRefresh();
    void applyList(DeviceVector list);
    /// The device of choice, from the list as it is.
    void selectChosen();
    [[nodiscard]] bool isSelectedListed() const;

    void poll();
    void lookAnswered(bool isPresent);
    void endWait(bool isReady);
    void recoverNow(Answer done);

    void runEeprom(std::function<void()> job);
    void nextEeprom();
    void finishEeprom();
    void captureBuildInfo(const MCUHeader& header);
};

} // namespace vt
