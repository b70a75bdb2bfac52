// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/CameraSession.h"

#include "base/TimeSource.h"
#include "camera/AxisCameraManager.h"
#include "camera/AxisRecordingManager.h"
#include "daqmx/KeepAlive.h"
#include "session/AppSettings.h"
#include "session/SessionExtensions.h"
#include "session/SessionTexts.h"
#include "session/UserInteraction.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TellAgainSeconds = 3600;

QString noticeId(const QString& mac)
{
    return u"camera:"_s + mac;
}

bool isEnabled(const CameraStatus& camera)
{
    return camera.settings.enabled && camera.settings.channel > 0;
}

} // namespace

/// Hands the moments of a recording on.
class CameraSession::Companion final : public RecordingCompanion
{
public:
    explicit Companion(CameraSession& session) : m_session(session) {}
    void recordingStarted(const RecordingContext& context) override { m_session.begin(context); }
    void recordingStopped() override { m_session.end(); }
    void report(SessionStatus& status) const override { m_session.report(status); }
    void whenClosed(const std::function<void()>& done) override { m_session.whenClosed(done); }
    [[nodiscard]] bool waitUntilClosed(int timeoutMs) override
    {
        return m_session.m_registry.waitForStop(timeoutMs);
    }

private:
    CameraSession& m_session;
};

CameraManagerRegistry::ManagerFactory CameraSession::networkCameras(TimeSource& time)
{
    return [&time] {
        return std::make_unique<AxisCameraManager>(time, std::make_unique<AxisRecordingManager>(time));
    };
}

CameraSession::CameraSession(TimeSource& time, CameraManagerRegistry::ManagerFactory factory,
                             UserInteraction& user, QObject* parent)
    : QObject(parent), m_time(time), m_user(user), m_store(&AppSettings::openStore),
      m_troubleReview(time.createTimer(&m_answers, [this] { reviewTroubles(); })),
      m_registry(time, std::move(factory), &keepAliveForever)
{
    (void)m_registry.setSettings(m_store.load()); // logged; what is left out stays so
    const QString password = m_store.password();
    m_hasOwnPassword = !password.isEmpty();
    if (m_hasOwnPassword) {
        m_credentials.password = password;
        m_registry.setCredentials(m_credentials);
    }
    connect(&m_registry, &CameraManagerRegistry::settingsChanged, this,
            [this](const VideoSettings& settings) {
                m_disk.post([store = m_store, settings] { store.save(settings); });
                filmIfWanted();
            });
    connect(&m_registry, &CameraManagerRegistry::recordingError, this, &CameraSession::handleError);
    connect(&m_registry, &CameraManagerRegistry::filmCutOff, this, &CameraSession::handleCutOff);
    connect(&m_registry, &CameraManagerRegistry::filmDoubtful, this, &CameraSession::handleDoubtful);
    connect(&m_registry, &CameraManagerRegistry::scanFinished, this,
            [this](int, const QString& error) { handleScanFinished(error); });
    connect(&m_registry, &CameraManagerRegistry::camerasChanged, this, &CameraSession::handleChange);
}

CameraSession::~CameraSession()
{
    m_registry.disconnect(this);
}

std::unique_ptr<RecordingCompanion> CameraSession::companion()
{
    return std::make_unique<Companion>(*this);
}

void CameraSession::applySettings(const VideoSettings& settings)
{
    const QString problem = m_registry.setSettings(settings);
    if (!problem.isEmpty())
        m_user.notify(Severity::Warning, tr("Cameras"), problem);
}

bool CameraSession::setSegmentMinutes(int minutes)
{
    VideoSettings settings = m_registry.settings();
    settings.segmentMinutes = std::clamp(minutes, 1, 1440);
    return m_registry.setSettings(settings).isEmpty();
}

void CameraSession::setPassword(const QString& password)
{
    m_disk.run(
        m_answers, [store = m_store, password] { return store.setPassword(password); },
        [this](bool isStored) {
            if (!isStored)
                m_user.notify(
                    Severity::Warning, tr("Cameras"),
                    tr("The cameras' password could not be stored where only you can read it. It is used "
                       "until the program ends, and forgotten then."));
        });
    m_hasOwnPassword = !password.isEmpty();
    m_credentials.password = m_hasOwnPassword ? password : CameraCredentials{}.password;
    m_registry.setCredentials(m_credentials);
    emit credentialsChanged();
}

MjpegCamera CameraSession::liveCamera(const QString& mac) const
{
    MjpegCamera live;
    live.user = m_credentials.user;
    live.password = m_credentials.password;
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    if (const CameraStatus* camera = find(cameras, mac))
        live.address = camera->address;
    return live;
}

const CameraStatus* CameraSession::find(const std::vector<CameraStatus>& cameras, const QString& mac) const
{
    const auto found = std::find_if(cameras.begin(), cameras.end(), [&mac](const CameraStatus& camera) {
        return camera.settings.mac == mac;
    });
    return found == cameras.end() ? nullptr : &*found;
}

void CameraSession::begin(const RecordingContext& context)
{
    m_isRecording = true;
    m_wanted.clear();
    m_filmed.clear();
    m_toldAt.clear();
    m_troubles.begin();
    m_gaps = 0;
    m_gapMs = 0;
    m_badFilms = 0;
    m_plan = {};
    m_plan.baseDirectory = context.basePath + u"_video"_s;
    for (int channel = 1; channel <= context.channelCount; ++channel)
        m_plan.labels.push_back({channel, context.animalIds.value(channel - 1)});
    filmIfWanted();
}

/// A recording without cameras does not search the network for them.
void CameraSession::filmIfWanted()
{
    if (!m_isRecording)
        return;
    const VideoSettings& settings = m_registry.settings();
    for (const CameraEntry& camera : settings.cameras) {
        if (camera.enabled)
            m_wanted.insert(camera.mac);
        else if (!m_filmed.contains(camera.mac)) // the user does not want it any more
            m_wanted.remove(camera.mac);
    }
    if (m_wanted.isEmpty() || m_registry.isRecordingSession())
        return;
    m_plan.segmentMinutes = settings.segmentMinutes;
    m_registry.startRecording(m_plan);
}

void CameraSession::end()
{
    m_isRecording = false;
    m_troubles.end(); // what was told of them stays true, and stays to be read
    m_troubleReview->stop();
    const QStringList open = m_gapSinceMs.keys();
    for (const QString& mac : open)
        closeGap(mac);
    if (!m_registry.isRecordingSession())
        return;
    ++m_stops;
    // What was not closed in good order has been told film by film by then.
    m_registry.stopRecording([this](bool) { handleStopped(); });
}

void CameraSession::handleStopped()
{
    if (--m_stops > 0)
        return;
    const std::vector<std::function<void()>> waiting = std::exchange(m_whenClosed, {});
    for (const auto& done : waiting)
        done();
    handleChange(); // of the recording that has begun meanwhile
}

void CameraSession::whenClosed(const std::function<void()>& done)
{
    if (m_stops == 0)
        done();
    else
        m_whenClosed.push_back(done);
}

void CameraSession::noteTrouble(const CameraStatus& camera, const QString& what, bool isCause)
{
    if (const auto news =
            m_troubles.fail(camera.settings.mac, what, isCause, m_time.now(), m_time.monotonicMs()))
        tell(*news);
    reviewTroubles();
}

void CameraSession::tell(const CameraTroubles::News& news)
{
    using Kind = CameraTroubles::News::Kind;
    const QString id = noticeId(news.mac);
    const QString since = news.since.toString(messageTimeFormat());
    switch (news.kind) {
    case Kind::DoesNotFilm:
        m_user.showNotice(
            id, tr("Cameras"),
            tr("The camera of channel %1 (%2) does not film since %3: %4 It is tried again for as "
               "long as the recording lasts.")
                .arg(channelOf(news.mac), news.mac, since, news.what),
            tr("OK"), [] {});
        break;
    case Kind::FilmsAgain:
        m_user.showNotice(
            id, tr("Cameras"),
            tr("The camera of channel %1 (%2) films since %3. It did not since %4.")
                .arg(channelOf(news.mac), news.mac, news.back.toString(messageTimeFormat()), since),
            tr("OK"), [] {});
        break;
    case Kind::TakeBack:
        m_user.closeNotice(id);
        break;
    }
}

void CameraSession::reviewTroubles()
{
    const qint64 nowMs = m_time.monotonicMs();
    for (const CameraTroubles::News& news : m_troubles.review(nowMs))
        tell(news);
    if (const std::optional<qint64> next = m_troubles.nextReviewMs())
        m_troubleReview->start(static_cast<int>(std::max<qint64>(0, *next - nowMs)), TimerMode::SingleShot);
    else
        m_troubleReview->stop();
}

QString CameraSession::channelOf(const QString& mac) const
{
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    const CameraStatus* camera = find(cameras, mac);
    return QString::number(camera ? camera->settings.channel : 0);
}

void CameraSession::handleCutOff(const QString& mac)
{
    // Otherwise it is a film of the recording before, which takes long to close.
    if (m_filmed.contains(mac))
        ++m_badFilms;
    const QString channel = channelOf(mac);
    qCritical().noquote() << "Lost: the end of a film, camera" << mac << "of channel" << channel
                          << "- it was not closed in good order and its last file may be unreadable";
    const QString id = noticeId(mac) + u":film"_s;
    const QDateTime now = m_time.now();
    const QDateTime last = m_toldAt.value(id);
    if (last.isValid() && last.secsTo(now) < TellAgainSeconds)
        return;
    m_toldAt.insert(id, now);
    m_user.showNotice(
        id, tr("Cameras"),
        tr("The film of the camera of channel %1 (%2) was not closed in good order at %3. Its last video "
           "file may be unreadable; the list segments.csv beside it tells.")
            .arg(channel, mac, now.toString(messageTimeFormat())),
        tr("OK"), [] {});
}

void CameraSession::handleDoubtful(const QString& mac, const QDateTime& since)
{
    if (!m_isRecording || m_stops > 0)
        return;
    ++m_badFilms;
    const QString channel = channelOf(mac);
    const QString from = since.toString(messageTimeFormat());
    const QString to = m_time.now().toString(messageTimeFormat());
    qCritical().noquote() << "Lost: film of camera" << mac << "of channel" << channel << "from" << from
                          << "to" << to
                          << "- it came from an address at which the camera was not any more, and may "
                             "show another cage";
    m_user.showNotice(
        noticeId(mac) + u":place"_s, tr("Cameras"),
        tr("The camera of channel %1 (%2) was not where its film came from. The video files that were begun "
           "from %3 to %4 may show another cage.")
            .arg(channel, mac, from, to),
        tr("OK"), [] {});
}

void CameraSession::handleError(const QString& mac, const QString& text)
{
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    const CameraStatus* camera = find(cameras, mac);
    if (!m_isRecording || !camera || !isEnabled(*camera))
        return;
    const bool isCause = !camera->lastError.isEmpty() && camera->lastError != text;
    const QString why = isCause ? camera->lastError : text;
    noteTrouble(*camera, why.endsWith(u'.') ? why : why + u'.', isCause);
}

void CameraSession::handleScanFinished(const QString& error)
{
    if (!m_isRecording)
        return;
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    for (const CameraStatus& camera : cameras)
        if (isEnabled(camera) && camera.address.isNull())
            noteTrouble(camera,
                        error.isEmpty() ? tr("it was not found on the network.")
                                        : tr("the network could not be searched (%1).").arg(error),
                        false);
}

void CameraSession::handleChange()
{
    if (!m_isRecording || m_stops > 0) // until then the cameras film for the recording before
        return;
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    for (const CameraStatus& camera : cameras) {
        const QString& mac = camera.settings.mac;
        noteFilm(camera);
        if (isEnabled(camera))
            m_troubles.setFilming(mac, camera.isRecording, m_time.now(), m_time.monotonicMs());
        else if (const auto news = m_troubles.forget(mac))
            tell(*news);
    }
    reviewTroubles();
}

/// Whether there is a film, and the gaps in it.
void CameraSession::noteFilm(const CameraStatus& camera)
{
    const QString& mac = camera.settings.mac;
    if (camera.isRecording) {
        m_filmed.insert(mac);
        closeGap(mac);
    } else if (!isEnabled(camera)) {
        closeGap(mac); // the user does not want it any more
    } else if (m_filmed.contains(mac) && !m_gapSinceMs.contains(mac)) {
        m_gapSinceMs.insert(mac, m_time.monotonicMs());
    }
}

void CameraSession::closeGap(const QString& mac)
{
    const auto since = m_gapSinceMs.constFind(mac);
    if (since == m_gapSinceMs.constEnd())
        return;
    ++m_gaps;
    m_gapMs += m_time.monotonicMs() - *since;
    m_gapSinceMs.erase(since);
}

CamerasStatus CameraSession::status() const
{
    CamerasStatus status;
    const bool isOfLastFilm = m_isRecording && m_stops > 0; // the next has to wait for it
    const std::vector<CameraStatus> cameras = m_registry.cameras();
    for (const CameraStatus& camera : cameras) {
        status.enabled += isEnabled(camera) ? 1 : 0;
        status.recording += isEnabled(camera) && camera.isRecording && !isOfLastFilm ? 1 : 0;
    }
    for (const QString& mac : m_wanted)
        if (!m_filmed.contains(mac))
            status.withoutVideo << mac;
    status.withoutVideo.sort();
    status.gaps = m_gaps + m_badFilms + static_cast<int>(m_gapSinceMs.size());
    status.gapMs = m_gapMs;
    for (const qint64 sinceMs : m_gapSinceMs)
        status.gapMs += m_time.monotonicMs() - sinceMs;
    return status;
}

void CameraSession::report(SessionStatus& status) const
{
    status.cameras = this->status();
    status.losses.cameraGaps += static_cast<quint64>(status.cameras.gaps);
    status.losses.camerasWithoutVideo += static_cast<quint64>(status.cameras.withoutVideo.size());
}

} // namespace vt
