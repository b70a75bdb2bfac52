// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "session/AmplifierPort.h"
#include "session/RecordingDevice.h"

#include <memory>
#include <vector>

namespace vt {

class DaqClaim;
class StrivixProbe;
class TimeSource;
class Timer;
struct StrivixProbeResult;

/// The serial amplifier at one of the computer's serial ports. Who is at a port is asked only when it is
/// selected: the ports of other devices, such as environmental sensors, are left alone. Nor is anything sent
/// to a port at which the system has seen another USB device since. While a recording is paused, the
/// amplifier is looked for at other ports, too: where its USB device is (presentPort) it is asked who it is.
/// With reserve, the port is claimed before anything is sent to it, and the amplifier by its serial number as
/// soon as that is known: it may have come back at another port while an instance of the program waits for
/// it. That port is not claimed as well: the amplifier is. See RecordingDevice.
class StrivixRecordingDevice final : public RecordingDevice
{
public:
    static constexpr int Channels = 2;
    /// The microcontroller record's and the processing's number for this kind of amplifier; 0 is the unit's.
    static constexpr int AmplifierType = 1;
    /// How often a port is opened and asked before the user is told that it failed.
    static constexpr int Tries = 3;
    /// Longer than all tries can take. Whoever has not answered by then never will: the system holds the port
    /// up.
    static constexpr int AnswerWaitMs = 16'000;

    /// time outlives the object. ports and reserve may be empty.
    StrivixRecordingDevice(TimeSource& time, AmplifierPorts ports, Reserve reserve);
    ~StrivixRecordingDevice() override;

    /// Looks for ports; true when they are others than before.
    bool refresh();
    [[nodiscard]] const std::vector<AmplifierPort>& ports() const { return m_ports; }
    /// What a port is claimed by among instances of the program: who is there is not known before it is
    /// claimed.
    [[nodiscard]] static QString claimName(const AmplifierPort& port);
    /// What an amplifier is claimed by that has told its serial number.
    [[nodiscard]] static QString claimName(const QString& serial);

    void select(const QString& name, Read done) override;
    void deselect() override;
    void read(const RecordingSetup& setup, Read done) override;
    /// Only false when another USB device is at the port: the amplifier is asked again when its stream
    /// starts.
    void probe(Done done) override;
    void lookForDevice(Done done) override;
    /// Asks whether the same amplifier is there.
    void recover(Done done) override;
    [[nodiscard]] QString notBackText() const override;
    [[nodiscard]] std::unique_ptr<DAQInterface>
    makeAcquisition(int channelCount, std::function<void(const QString&)> failed) override;

private:
    using Asked = std::function<void(const StrivixProbeResult&)>;
    [[nodiscard]] const AmplifierPort* find(const QString& name) const;
    /// Does the system list the port, at the USB device that it was at when it was selected?
    [[nodiscard]] bool isSelectedPort() const;
    /// Goes where the selected port's USB device is now. False when it is nowhere.
    bool followUsbDevice();
    void selected(const StrivixProbeResult& result, const Read& done);
    void ask(Asked done);
    void answered(const StrivixProbeResult& result);
    void giveUpAsking();
    /// The same; another amplifier than the selected one is an error.
    void askForSelected(Asked done);
    [[nodiscard]] Reading reading(int animalType) const;
    [[nodiscard]] Reading refused(const QString& why) const;
    void answerLater(std::function<void()> answer);

    TimeSource& m_time;
    const AmplifierPorts m_findPorts;
    const Reserve m_reserve;
    std::vector<AmplifierPort> m_ports;
    AmplifierPort m_selected;
    QString m_port;     ///< where the selected amplifier is: m_selected.port, unless it came back elsewhere
    QString m_identity; ///< "Strivix ..." of the selected amplifier
    quint64 m_selection = 0;
    Inbox m_answers;
    std::unique_ptr<DaqClaim> m_serialClaim; ///< null without reserve
    Asked m_asked;                           ///< who waits for m_probe's answer
    std::unique_ptr<StrivixProbe> m_probe;   ///< the last question
    std::unique_ptr<Timer> m_answerTimer;
};

} // namespace vt
