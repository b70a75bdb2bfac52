// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StrivixRecordingDevice.h"

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/StrivixDAQAdapter.h"
#include "acquisition/StrivixPorts.h"
#include "acquisition/StrivixProbe.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <algorithm>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

const auto ProductName = u"Strivix"_s;

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
    return a.name == b.name && a.port == b.port && a.serial == b.serial;
}

} // namespace

StrivixRecordingDevice::StrivixRecordingDevice(TimeSource& time, AmplifierPorts ports, Reserve reserve)
    : m_time(time), m_findPorts(std::move(ports)), m_reserve(std::move(reserve))
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
    // One port has several names on Linux, and each simulated amplifier a link that is its own.
    const QString path = portPath(port.port);
    const QString target = port.simulated ? QString() : QFileInfo(path).canonicalFilePath();
    return amplifierPrefix() + (target.isEmpty() ? path : target);
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
    const QString refusal = m_reserve ? m_reserve(claimName(*port), name) : QString();
    if (!refusal.isEmpty()) {
        answerLater([this, refusal, done = std::move(done)] { done(refused(refusal)); });
        return;
    }
    ask([this, done = std::move(done)](const StrivixProbeResult& result) {
        m_identity = result.identity;
        done(m_identity.isEmpty() ? refused(result.error) : reading(AnimalMouse));
    });
}

void StrivixRecordingDevice::deselect()
{
    ++m_selection;
    m_probe.reset();
    m_identity.clear();
    m_selected = AmplifierPort{};
}

void StrivixRecordingDevice::read(const RecordingSetup& setup, Read done)
{
    const int animalType = setup.animalType > 0 ? setup.animalType : int{AnimalMouse};
    askForSelected([this, animalType, done = std::move(done)](const StrivixProbeResult& result) {
        done(result.error.isEmpty() ? reading(animalType) : refused(result.error));
    });
}

void StrivixRecordingDevice::probe(Done done)
{
    answerLater([done = std::move(done)] { done(true); });
}

bool StrivixRecordingDevice::isPresent()
{
    return isPortPresent(m_selected.port);
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
    return u"attemptResume: Strivix %1 not back yet"_s.arg(m_selected.port);
}

std::unique_ptr<DAQInterface>
StrivixRecordingDevice::makeAcquisition(int channelCount, std::function<void(const QString&)> failed)
{
    auto acquisition = std::make_unique<StrivixDAQAdapter>(m_time, m_selected.port, channelCount);
    acquisition->setRequiredIdentity(m_identity);
    QObject::connect(acquisition.get(), &StrivixDAQAdapter::errorOccurred, acquisition.get(),
                     std::move(failed), Qt::DirectConnection);
    return acquisition;
}

void StrivixRecordingDevice::ask(Asked done)
{
    m_probe.reset(); // the port can be asked by one at a time
    m_probe = std::make_unique<StrivixProbe>(
        m_time, m_selected.port, m_answers,
        [this, mine = m_selection, done = std::move(done)](const StrivixProbeResult& result) {
            if (mine == m_selection)
                done(result);
        });
}

void StrivixRecordingDevice::askForSelected(Asked done)
{
    ask([this, done = std::move(done)](StrivixProbeResult result) {
        if (result.error.isEmpty() && result.identity != m_identity)
            result.error = text("The device is \"%1\" instead of \"%2\".").arg(result.identity, m_identity);
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
