// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/RecordingPages.h"

#include "base/TimeSource.h"
#include "processing/DataManager.h"
#include "session/EnvironmentSession.h"
#include "session/StepHistory.h"
#include "ui/CamerasPage.h"
#include "ui/EnvironmentView.h"
#include "ui/LiveTraces.h"
#include "ui/SingleChannelView.h"
#include "ui/SummaryView.h"

#include <QDateTime>
#include <utility>

namespace vt {

namespace {

EnvPoint pointOf(const EnvSample& sample)
{
    return {sample.timeStampMs, sample.temperatureC, sample.humidityPercent, sample.lightLux,
            sample.pressureHpa};
}

QStringList animalIdsOf(const SessionStatus& status, int channelCount)
{
    QStringList ids;
    for (const ChannelSummary& channel : status.channels)
        ids << channel.animalId;
    while (ids.size() < channelCount)
        ids << QString::number(ids.size() + 1);
    return ids;
}

} // namespace

RecordingPages::RecordingPages(SessionController& controller, const RecordingSurroundings& surroundings,
                               QWidget* parent)
    : QTabWidget(parent), m_controller(controller), m_time(surroundings.time)
{
    setDocumentMode(true);
    setObjectName(QStringLiteral("pages"));
    buildPages(surroundings);
    connectSession();
    if (surroundings.sensors)
        connectSensors(*surroundings.sensors);
    connect(m_live, &LiveTraces::frozenChanged, this, &RecordingPages::frozenChanged);
    connect(m_channel, &SingleChannelView::frozenChanged, this, &RecordingPages::frozenChanged);
    connect(this, &QTabWidget::currentChanged, this, &RecordingPages::frozenChanged);
    connect(m_live, &LiveTraces::channelActivated, this, &RecordingPages::showChannel);
    connect(m_summary, &SummaryView::refreshWanted, this,
            [this] { m_summary->refresh(m_controller.history()); });
    connect(m_environment, &EnvironmentView::refreshWanted, this,
            [this] { m_environment->refresh(nowMs()); });
}

void RecordingPages::buildPages(const RecordingSurroundings& surroundings)
{
    m_live = new LiveTraces(this);
    m_live->setHistory(&m_controller.history());
    m_channel = new SingleChannelView(this);
    m_summary = new SummaryView(this);
    m_environment = new EnvironmentView(this);
    m_cameras = new CamerasPage(surroundings.cameras, surroundings.time, this);
    const auto add = [this](QWidget* page, const QString& name, const QString& tip) {
        setTabToolTip(addTab(page, name), tip);
    };
    add(m_live, tr("Signals"), tr("The signals of all channels as they come (Alt+1)"));
    add(m_channel, tr("Channel"), tr("Everything about one channel (Alt+2)"));
    add(m_summary, tr("Sleep Summary"), tr("Sleep of all channels, and the days of each (Alt+3)"));
    add(m_environment, tr("Environment"), tr("Temperature, humidity, light and pressure (Alt+4)"));
    add(m_cameras, tr("Cameras"), tr("Live pictures of the cameras (Alt+5)"));
}

void RecordingPages::connectSession()
{
    connect(&m_controller, &SessionController::segmentStarted, this,
            [this](const QString&, int segment) { handleSegmentStarted(segment); });
    connect(&m_controller, &SessionController::segmentEnded, this, &RecordingPages::handleSignalsStopped);
    connect(&m_controller, &SessionController::stateChanged, this, [this](SessionState state) {
        if (state == SessionState::Paused)
            handleSignalsStopped();
    });
    connect(&m_controller, &SessionController::recordingEnded, this, &RecordingPages::handleRecordingEnded);
    connect(&m_controller, &SessionController::stepCompleted, this, &RecordingPages::handleStep);
    connect(&m_controller, &SessionController::markersChanged, this, &RecordingPages::handleMarkers);
}

void RecordingPages::connectSensors(EnvironmentSession& sensors)
{
    connect(&sensors, &EnvironmentSession::sensorsChanged, this, [this, &sensors] { showSensors(sensors); });
    connect(&sensors, &EnvironmentSession::sampleReady, this,
            [this](const EnvSample& sample, const QString& serial) {
                m_environment->addReading(serial, pointOf(sample));
                m_environment->refresh(nowMs());
            });
    showSensors(sensors);
}

void RecordingPages::showSensors(const EnvironmentSession& sensors)
{
    QList<EnvSeries> series;
    for (const EnvSensorInfo& sensor : sensors.sensors()) {
        EnvSeries one{sensor.serialNumber, sensor.label, sensor.isConnected, sensor.isEnabled};
        for (const EnvSample& sample : sensors.history(sensor.serialNumber))
            one.points << pointOf(sample);
        series << one;
    }
    m_environment->setSensors(series);
    m_environment->refresh(nowMs());
}

/// By the clock that the readings are stamped with.
qint64 RecordingPages::nowMs() const
{
    return m_time ? m_time->now().toMSecsSinceEpoch() : QDateTime::currentMSecsSinceEpoch();
}

void RecordingPages::setLightCycle(QTime lightOn, QTime darkOn)
{
    m_lightOn = lightOn;
    m_darkOn = darkOn;
}

void RecordingPages::setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring)
{
    m_live->setChannels(channels, scoring);
    m_channel->setChannels(channels, scoring);
}

void RecordingPages::handleSegmentStarted(int segment)
{
    const std::shared_ptr<const DataManager> processing = m_controller.processing();
    if (!processing)
        return;
    const auto& config = processing->config();
    const QStringList animalIds = animalIdsOf(m_controller.status(), config.channelCount);
    const auto from = [&processing](auto copy) {
        return [processing, copy](int channel, std::span<float> out) {
            return (processing.get()->*copy)(channel, out);
        };
    };
    m_live->start(animalIds, from(&DataManager::copyRawTrace));
    ChannelSources sources;
    sources.raw = from(&DataManager::copyRawTrace);
    sources.breathing = from(&DataManager::copyBreathingTrace);
    sources.activity = from(&DataManager::copyActivityTrace);
    sources.steps = &m_controller.history();
    sources.animalType = config.animalType;
    sources.isActivityOnly = config.activityOnly;
    m_channel->start(animalIds, std::move(sources));
    if (segment == 0)
        m_summary->begin(animalIds, m_lightOn, m_darkOn);
}

void RecordingPages::handleSignalsStopped()
{
    const QString note = m_controller.state() == SessionState::Paused ? tr("Paused, waiting for the unit")
                                                                      : tr("Signals stopped");
    m_live->clearSource(note);
    m_channel->clearSource(note);
}

void RecordingPages::handleRecordingEnded(EndReason reason)
{
    // Without a summary nothing was recorded, and what is shown is still of the recording before.
    if (reason == EndReason::CouldNotStart || m_controller.lastSummary().isEmpty())
        return;
    m_live->clearSource(tr("Recording ended"));
    m_channel->clearSource(tr("Recording ended"));
    m_summary->end();
    m_summary->refresh(m_controller.history());
}

void RecordingPages::handleStep()
{
    m_live->addStep();
    m_channel->addStep();
    m_summary->refresh(m_controller.history());
}

void RecordingPages::handleMarkers()
{
    const auto& markers = m_controller.markers();
    if (markers.size() < m_markerLabels.size())
        m_markerLabels.clear(); // a new recording
    for (std::size_t index = 0; index < markers.size(); ++index) {
        const QString& label = markers[index].label;
        const int event = static_cast<int>(index) + 1;
        if (index == m_markerLabels.size()) {
            m_live->addMarker(event, label);
            m_channel->addMarker(event, label);
            m_markerLabels.push_back(label);
        } else if (std::exchange(m_markerLabels[index], label) != label) {
            m_live->setMarkerLabel(event, label);
            m_channel->setMarkerLabel(event, label);
        }
    }
}

bool RecordingPages::isFrozen() const
{
    return (currentIndex() == Live && m_live->isFrozen()) ||
           (currentIndex() == Channel && m_channel->isFrozen());
}

bool RecordingPages::canFreeze() const
{
    return currentIndex() == Live || currentIndex() == Channel;
}

void RecordingPages::toggleFrozen()
{
    if (currentIndex() == Live)
        m_live->setFrozen(!m_live->isFrozen());
    else if (currentIndex() == Channel)
        m_channel->setFrozen(!m_channel->isFrozen());
}

void RecordingPages::showChannel(int channel)
{
    m_channel->setChannel(channel);
    setCurrentIndex(Channel);
}

} // namespace vt
