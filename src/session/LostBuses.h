// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "hardware/StimulationHardware.h"
#include "session/UserInteraction.h"

#include <QObject>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace vt {

/// Tells the user of buses of the acquisition unit that fail while its signals go on. Interface thread.
///
/// A unit that is unplugged loses its buses first and is found missing by the watchdog seconds later; the
/// user is told that then. So a lost bus is told when the recording has gone on for 10 s without it, and one
/// that was told also when it works again. A bus that comes and goes is told three times; the log has the
/// rest.
class LostBuses : public QObject
{
    Q_OBJECT
public:
    static constexpr int TellAfterMs = 10000;
    static constexpr int MostTold = 3;
    using Tell = std::function<void(vt::Severity severity, const QString& text)>;

    LostBuses(TimeSource& time, Tell tell, QObject* parent);
    ~LostBuses() override;

    /// The acquisition runs; a bus that was lost before does not count.
    void recordingRuns();
    /// The acquisition has stopped, or is about to.
    void recordingHalts();
    void noteLost(vt::UnitBus bus);
    void noteRestored(vt::UnitBus bus);

private:
    void tellAll();

    const Tell m_tell;
    bool m_isRunning = false;
    std::set<UnitBus> m_lost; ///< not told yet
    std::set<UnitBus> m_told;
    std::map<UnitBus, int> m_timesTold;
    std::unique_ptr<Timer> m_timer;
};

} // namespace vt
