// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "session/AmplifierPort.h"
#include "session/RecordingDevice.h"

#include <memory>
#include <vector>

namespace vt {

class StrivixProbe;
class TimeSource;
struct StrivixProbeResult;

/// The serial amplifier at one of the computer's serial ports. Who is at a port is asked only when it is
/// selected: the ports of other devices, such as environmental sensors, are left alone. See RecordingDevice.
class StrivixRecordingDevice final : public RecordingDevice
{
public:
    static constexpr int Channels = 2;
    /// The microcontroller record's and the processing's number for this kind of amplifier; 0 is the unit's.
    static constexpr int AmplifierType = 1;

    /// time outlives the object. ports and reserve may be empty.
    StrivixRecordingDevice(TimeSource& time, AmplifierPorts ports, Reserve reserve);
    ~StrivixRecordingDevice() override;

    /// Looks for ports; true when they are others than before.
    bool refresh();
    [[nodiscard]] const std::vector<AmplifierPort>& ports() const { return m_ports; }
    /// What a port is claimed by among instances of the program: who is there is not known before it is
    /// claimed.
    [[nodiscard]] static QString claimName(const AmplifierPort& port);

    void select(const QString& name, Read done) override;
    void deselect() override;
    void read(const RecordingSetup& setup, Read done) override;
    /// Always good: the amplifier is asked again when its stream starts.
    void probe(Done done) override;
    [[nodiscard]] bool isPresent() override;
    /// Asks whether the same amplifier is there.
    void recover(Done done) override;
    [[nodiscard]] QString notBackText() const override;
    [[nodiscard]] std::unique_ptr<DAQInterface>
    makeAcquisition(int channelCount, std::function<void(const QString&)> failed) override;

private:
    using Asked = std::function<void(const StrivixProbeResult&)>;
    [[nodiscard]] const AmplifierPort* find(const QString& name) const;
    void ask(Asked done);
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
    QString m_identity; ///< "Strivix ..." of the selected amplifier
    quint64 m_selection = 0;
    Inbox m_answers;
    std::unique_ptr<StrivixProbe> m_probe; ///< the last question
};

} // namespace vt
