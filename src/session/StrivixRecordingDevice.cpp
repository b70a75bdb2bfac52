// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StrivixRecordingDevice.h"

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/StrivixDAQAdapter.h"
#include "acquisition/StrivixPorts.h"
#include "acquisition/StrivixProbe.h"
#include "base/TimeSource.h"
#include "platform/DaqClaim.h"
#include "session/ClaimRefusal.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

const auto ProductName = u"Strivix"_s;
const auto WindowsDevicePrefix = u"\\\\.\\"_s;

QString text(const char* source)
{
    return QCoreApplication::translate("StrivixRecordingDevice", source);
}

/// What follows the product's name.
QString serialOf(const QString& identity)
{
    return identity.mid(ProductName.size()).trimmed();
}

bool isSamePort(const AmplifierPort& a, const AmplifierPort& b)
{
    return a.name == b.name && a.port == b.port && isSameUsbDevice(a, b);
}

/// Errors as the user sees them name the port.
QString withPort(const QString& error, const QString& port)
{
    return error.isEmpty() || error.contains(port) ? error : text("Serial port %1: %2").arg(port, error);
}

} // namespace

const AmplifierPort* presentPort(const AmplifierPort& chosen, const std::vector<AmplifierPort>& listed)
{
    const AmplifierPort* elsewhere = nullptr;
    bool isUnique = true;
    for (const AmplifierPort& port : listed) {
        if (!isSameUsbDevice(port, chosen))
            continue;
        if (port.name == chosen.name)
            return &port;
        isUnique = elsewhere == nullptr;
        elsewhere = &port;
    }
    return isUnique && !chosen.serial.isEmpty() ? elsewhere : nullptr;
}

StrivixRecordingDevice::StrivixRecordingDevice(TimeSource& time, AmplifierPorts ports, Reserve reserve)
    : m_time(time), m_findPorts(std::move(ports)), m_reserve(std::move(reserve)),
      m_serialClaim(m_reserve ? std::make_unique<DaqClaim>() : nullptr),
      m_answerTimer(time.createTimer(&m_answers, [this] { giveUpAsking(); }))
{}

StrivixRecordingDevice::~StrivixRecordingDevice() = default;

bool StrivixRecordingDevice::refresh()
{
    std::vector<AmplifierPort> found = m_findPorts ? m_findPorts() : std::vector<AmplifierPort>{};
    const bool isSame = std::equal(found.begin(), found.end(), m_ports.begin(), m_ports.end(), isSamePort);
    m_ports = std::move(found);
    return !isSame;
}

QString StrivixRecordingDevice::claimName(const AmplifierPort& port)
{
    const QString path = portPath(port.port);
    // A claim on Windows may not have a backslash in its name, nor does a port's name tell upper from lower
    // case there.
    if (path.startsWith(WindowsDevicePrefix))
        return amplifierPrefix() + path.mid(WindowsDevicePrefix.size()).toUpper();
    // One port has several names on Linux, and each simulated amplifier a link that is its own.
    const QString target = port.simulated ? QString() : QFileInfo(path).canonicalFilePath();
    return amplifierPrefix() + (target.isEmpty() ? path : target);
}

QString StrivixRecordingDevice::claimName(const QString& serial)
{
    return amplifierPrefix() + serial;
}

const AmplifierPort* StrivixRecordingDevice::find(const QString& name) const
{
    const auto found = std::find_if(m_ports.begin(), m_ports.end(),
                                    [&](const AmplifierPort& port) { return port.name == name; });
    return found == m_ports.end() ? nullptr : &*found;
}

void StrivixRecordingDevice::select(const QString& name, Read done)
{
    deselect();
    m_selected.name = name;
    refresh(); // the port may have gone since the last look
    const AmplifierPort* port = find(name);
    if (!port) {
        answerLater([this, done = std::move(done)] { done(refused(text("There is no such serial port."))); });
        return;
    }
    m_selected = *port;
    m_port = m_selected.port;
    const QString refusal = m_reserve ? m_reserve(claimName(*port), name) : QString();
    if (!refusal.isEmpty()) {
        answerLater([this, refusal, done = std::move(done)] { done(refused(refusal)); });
        return;
    }
    ask([this, done = std::move(done)](const StrivixProbeResult& result) { selected(result, done); });
}

void StrivixRecordingDevice::selected(const StrivixProbeResult& result, const Read& done)
{
    if (!result.error.isEmpty()) {
        done(refused(result.error));
        return;
    }
    const QString serial = serialOf(result.identity);
    // One that tells no serial number cannot be told from others of its kind.
    const QString refusal = m_serialClaim && !serial.isEmpty()
                                ? claimOrRefusal(*m_serialClaim, claimName(serial), result.identity)
                                : QString();
    if (!refusal.isEmpty()) {
        done(refused(refusal));
        return;
    }
    m_identity = result.identity;
    done(reading(AnimalMouse));
}

void StrivixRecordingDevice::deselect()
{
    ++m_selection;
    m_answerTimer->stop();
    m_asked = {};
    m_probe.reset();
    if (m_serialClaim)
        m_serialClaim->release();
    m_identity.clear();
    m_selected = AmplifierPort{};
    m_port.clear();
}

void StrivixRecordingDevice::read(const RecordingSetup& setup, Read done)
{
    const int animalType = setup.animalType > 0 ? setup.animalType : int{AnimalMouse};
    m_port = m_selected.port; // that it has been elsewhere was an earlier recording's
    askForSelected([this, animalType, done = std::move(done)](const StrivixProbeResult& result) {
        done(result.error.isEmpty() ? reading(animalType) : refused(result.error));
    });
}

void StrivixRecordingDevice::probe(Done done)
{
    // Of a port that is gone the acquisition tells more.
    const bool isOther = isPortPresent(m_selected.port) && !isSelectedPort();
    answerLater([isOther, done = std::move(done)] { done(!isOther); });
}

void StrivixRecordingDevice::lookForDevice(Done done)
{
    const bool isThere = followUsbDevice() && isPortPresent(m_port);
    answerLater([isThere, done = std::move(done)] { done(isThere); });
}

bool StrivixRecordingDevice::isSelectedPort() const
{
    if (!m_findPorts)
        return true;
    const std::vector<AmplifierPort> ports = m_findPorts();
    const AmplifierPort* port = presentPort(m_selected, ports);
    return port && port->port == m_port;
}

bool StrivixRecordingDevice::followUsbDevice()
{
    if (!m_findPorts)
        return true;
    const std::vector<AmplifierPort> ports = m_findPorts();
    const AmplifierPort* port = presentPort(m_selected, ports);
    if (!port)
        return false;
    if (port->port != m_port)
        qInfo().noquote() << "StrivixRecordingDevice: the USB device of" << m_identity << "is at"
                          << port->port << "now, it was at" << m_port;
    m_port = port->port;
    return true;
}

void StrivixRecordingDevice::recover(Done done)
{
    askForSelected([done = std::move(done)](const StrivixProbeResult& result) {
        if (!result.error.isEmpty())
            qWarning().noquote() << "StrivixRecordingDevice:" << result.error;
        done(result.error.isEmpty());
    });
}

QString StrivixRecordingDevice::notBackText() const
{
    return u"attemptResume: Strivix %1 not back yet"_s.arg(m_port);
}

std::unique_ptr<DAQInterface>
StrivixRecordingDevice::makeAcquisition(int channelCount, std::function<void(const QString&)> failed)
{
    auto acquisition = std::make_unique<StrivixDAQAdapter>(m_time, m_port, channelCount);
    acquisition->setRequiredIdentity(m_identity);
    acquisition->setTries(Tries);
    QObject::connect(
        acquisition.get(), &StrivixDAQAdapter::errorOccurred, acquisition.get(),
        [failed = std::move(failed), at = m_port](const QString& error) { failed(withPort(error, at)); },
        Qt::DirectConnection);
    return acquisition;
}

void StrivixRecordingDevice::ask(Asked done)
{
    m_probe.reset(); // the port can be asked by one at a time
    m_asked = std::move(done);
    m_probe = std::make_unique<StrivixProbe>(
        m_time, m_port, m_answers,
        [this, mine = m_selection](const StrivixProbeResult& result) {
            if (mine == m_selection)
                answered(result);
        },
        Tries);
    m_answerTimer->start(AnswerWaitMs, TimerMode::SingleShot);
}

void StrivixRecordingDevice::answered(const StrivixProbeResult& result)
{
    m_answerTimer->stop();
    const Asked asked = std::exchange(m_asked, {});
    if (asked)
        asked({result.identity, withPort(result.error, m_port)});
}

void StrivixRecordingDevice::giveUpAsking()
{
    m_probe->abandon();
    answered({{}, text("The system does not answer when the port is used.")});
}

void StrivixRecordingDevice::askForSelected(Asked done)
{
    if (!isSelectedPort()) {
        const QString error = withPort(text("There is another device than before, or none."), m_port);
        answerLater([error, done = std::move(done)] { done({{}, error}); });
        return;
    }
    ask([this, done = std::move(done)](StrivixProbeResult result) {
        if (result.error.isEmpty() && result.identity != m_identity)
            result.error = withPort(
                text("The device is \"%1\" instead of \"%2\".").arg(result.identity, m_identity), m_port);
        done(result);
    });
}

RecordingDevice::Reading StrivixRecordingDevice::reading(int animalType) const
{
    DeviceDetails details;
    details.kind = DeviceKind::SerialAmplifier;
    details.name = m_selected.name;
    details.productType = ProductName;
    details.serial = serialOf(m_identity);
    details.offeredChannels = Channels;
    details.animalType = animalType;
    details.simulated = m_selected.simulated;
    details.usable = true;
    return {details, placeholderMcuHeader(AmplifierType, static_cast<std::uint8_t>(animalType))};
}

RecordingDevice::Reading StrivixRecordingDevice::refused(const QString& why) const
{
    DeviceDetails details;
    details.kind = DeviceKind::SerialAmplifier;
    details.name = m_selected.name;
    details.simulated = m_selected.simulated;
    details.refusal = why;
    return {details, std::nullopt};
}

void StrivixRecordingDevice::answerLater(std::function<void()> answer)
{
    m_answers.post([this, mine = m_selection, answer = std::move(answer)] {
        if (mine == m_selection)
            answer();
    });
}

} // namespace vt
