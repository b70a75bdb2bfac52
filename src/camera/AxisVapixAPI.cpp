// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/AxisVapixAPI.h"

#include "camera/VapixText.h"

#include <QDebug>
#include <QNetworkProxy>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

AxisVapixAPI::AxisVapixAPI(TimeSource& time) : m_time(time)
{
    m_network.setProxy(QNetworkProxy::NoProxy);
}

AxisVapixAPI::~AxisVapixAPI()
{
    m_pending.clear();
    m_ended.clear();
}

void AxisVapixAPI::request(const Call& call, Judge judge, Done done)
{
    QString host = call.camera.address.toString();
    if (call.camera.port != 80)
        host += u":%1"_s.arg(call.camera.port);
    // Who answers when has no say in the order of the pending requests: they are found by their address.
    auto self = std::make_shared<const VapixRequest*>(nullptr);
    auto request = std::make_unique<VapixRequest>(
        m_network, m_time,
        VapixRequest::Wanted{vapix::url(host, call.cgi, call.query), call.body, call.camera.user,
                             call.camera.password},
        [this, self, call, judge = std::move(judge), done = std::move(done)](
            const VapixRequest::Answer& answer) { handleAnswer(*self, call, judge, done, answer); });
    *self = request.get();
    m_pending.push_back(std::move(request));
}

void AxisVapixAPI::handleAnswer(const VapixRequest* request, const Call& call, const Judge& judge,
                                const Done& done, const VapixRequest::Answer& answer)
{
    VapixResult result{call.camera.address, call.operation, answer.error.isEmpty(), answer.error, {},
                       answer.httpStatus};
    if (result.isOk) {
        result.text = QString::fromUtf8(answer.body);
        judge(result, answer.body);
    }
    result.text = vapix::withoutPassword(result.text, call.camera.password);
    if (!result.isOk)
        qWarning().noquote() << "AxisVapixAPI: Request failed for" << call.camera.address.toString()
                             << "operation:" << call.operation << "error:" << result.text;
    const auto entry = std::find_if(m_pending.begin(), m_pending.end(),
                                    [&](const auto& pending) { return pending.get() == request; });
    if (entry != m_pending.end()) {
        m_ended.push_back(std::move(*entry));
        m_pending.erase(entry);
        m_inbox.post([this] { m_ended.clear(); });
    }
    emit requestFinished(result);
    if (done)
        done(result);
}

void AxisVapixAPI::list(const VapixCamera& camera, const QString& operation, const QString& group,
                        Judge judge, Done done)
{
    request({camera, operation, u"param"_s, u"?action=list&group="_s + group, {}}, std::move(judge),
            std::move(done));
}

void AxisVapixAPI::update(const VapixCamera& camera, const QString& operation, const QString& assignments,
                          Done done)
{
    request(
        {camera, operation, u"param"_s, u"?action=update&"_s + assignments, {}},
        [](VapixResult& result, const QByteArray& answer) {
            constexpr int MaxCharacters = 200;
            result.isOk = answer.trimmed() == "OK";
            if (!result.isOk)
                result.text = u"The camera answers: %1"_s.arg(result.text.trimmed().left(MaxCharacters));
        },
        std::move(done));
}

void AxisVapixAPI::callJson(const VapixCamera& camera, const QString& operation, const QString& cgi,
                            const QString& method, const QJsonObject& params, Done done)
{
    request(
        {camera, operation, cgi, {}, vapix::body(method, params)},
        [](VapixResult& result, const QByteArray& answer) {
            const vapix::JsonAnswer read = vapix::jsonAnswer(answer);
            result.isOk = read.error.isEmpty();
            if (!result.isOk)
                result.text = read.error;
            for (const int id : vapix::overlayIds(read.data))
                result.values << QString::number(id);
        },
        std::move(done));
}

void AxisVapixAPI::initializePassword(const VapixCamera& camera, Done done)
{
    VapixCamera factoryState = camera;
    factoryState.user = u"anonymous"_s;
    request(
        {factoryState,
         u"initializePassword"_s,
         u"pwdgrp"_s,
         u"?action=add&user=root&pwd="_s + vapix::encoded(camera.password) +
             u"&grp=root&sgrp=admin:operator:viewer:ptz"_s,
         {}},
        [](VapixResult& result, const QByteArray& answer) {
            result.isOk = !answer.toLower().contains("error");
            result.text = result.isOk ? QString() : u"The camera refuses the new account"_s;
        },
        std::move(done));
}

void AxisVapixAPI::getSupportedResolutions(const VapixCamera& camera, Done done)
{
    list(
        camera, u"getSupportedResolutions"_s, u"Properties.Image.Resolution"_s,
        [](VapixResult& result, const QByteArray&) {
            result.values =
                vapix::resolutions(vapix::parameter(result.text, u"Properties.Image.Resolution"_s));
            result.isOk = !result.values.isEmpty();
            if (!result.isOk)
                result.text = u"The answer names no resolution"_s;
        },
        std::move(done));
}

void AxisVapixAPI::getCurrentResolution(const VapixCamera& camera, Done done)
{
    list(
        camera, u"getCurrentResolution"_s, u"Image.I0.Appearance.Resolution"_s,
        [](VapixResult& result, const QByteArray&) {
            result.values =
                vapix::resolutions(vapix::parameter(result.text, u"Image.I0.Appearance.Resolution"_s));
            result.isOk = !result.values.isEmpty();
            if (!result.isOk)
                result.text = u"The answer names no resolution"_s;
        },
        std::move(done));
}

void AxisVapixAPI::setResolution(const VapixCamera& camera, int width, int height, Done done)
{
    update(camera, u"setResolution"_s, u"Image.I0.Appearance.Resolution=%1x%2"_s.arg(width).arg(height),
           std::move(done));
}

void AxisVapixAPI::setRotation(const VapixCamera& camera, int degrees, Done done)
{
    update(camera, u"setRotation"_s, u"ImageSource.I0.Rotation=%1"_s.arg(degrees),
           [this, camera, degrees, done = std::move(done)](const VapixResult& result) {
               if (!result.isOk)
                   update(camera, u"setRotationFallback"_s, u"Image.I0.Rotation=%1"_s.arg(degrees), done);
               else if (done)
                   done(result);
           });
}

void AxisVapixAPI::setTimeSource(const VapixCamera& camera, const QString& source, Done done)
{
    update(camera, u"setTimeSource"_s, u"Time.SyncSource="_s + vapix::encoded(source), std::move(done));
}

void AxisVapixAPI::setTime(const VapixCamera& camera, const QDateTime& time, Done done)
{
    const QString text = time.toUTC().toString(u"yyyy-MM-ddTHH:mm:ss"_s) + u'Z';
    callJson(camera, u"setTime"_s, u"time"_s, u"setDateTime"_s, {{u"dateTime"_s, text}}, std::move(done));
}

void AxisVapixAPI::setTimeZone(const VapixCamera& camera, const QString& zone, Done done)
{
    callJson(camera, u"setTimeZone"_s, u"time"_s, u"setTimeZone"_s, {{u"timeZone"_s, zone}}, std::move(done));
}

void AxisVapixAPI::askForDynamicOverlay(const VapixCamera& camera, const QString& operation, Done done)
{
    list(
        camera, operation, u"Properties.DynamicOverlay.DynamicOverlay"_s,
        [](VapixResult& result, const QByteArray&) {
            if (vapix::hasDynamicOverlay(result.text))
                result.values = QStringList{u"yes"_s};
        },
        std::move(done));
}

void AxisVapixAPI::setTextOverlay(const VapixCamera& camera, const QString& text, const QString& position,
                                  const Done& done, int fontSize)
{
    const auto print = [this, camera, text, position, fontSize, done](const VapixResult& support) {
        if (!support.isOk) {
            if (done)
                done(support);
            return;
        }
        if (!support.values.isEmpty()) {
            callJson(camera, u"addTextOverlay"_s, u"dynamicoverlay/dynamicoverlay"_s, u"addText"_s,
                     {{u"camera"_s, 1},
                      {u"text"_s, text},
                      {u"position"_s, position},
                      {u"textColor"_s, u"white"_s},
                      {u"fontSize"_s, fontSize},
                      {u"textBGColor"_s, u"black"_s}},
                     done);
            return;
        }
        update(camera, u"setLegacyTextOverlay"_s,
               u"Image.I0.Text.TextEnabled=yes&Image.I0.Text.TextSize=large&Image.I0.Text.Color=white&"
               "Image.I0.Text.BGColor=transparent&Image.I0.Text.Position=%1&Image.I0.Text.String=%2"_s.arg(
                   vapix::legacyPosition(position), vapix::encoded(text)),
               done);
    };
    askForDynamicOverlay(camera, u"checkOverlay:%1:%2:%3"_s.arg(text, position, QString::number(fontSize)),
                         print);
}

void AxisVapixAPI::removeAllOverlays(const VapixCamera& camera, const Done& done)
{
    askForDynamicOverlay(camera, u"removeAllOverlays"_s, [this, camera, done](const VapixResult& support) {
        if (!support.isOk) {
            if (done)
                done(support);
        } else if (!support.values.isEmpty()) {
            listOverlays(camera, done);
        } else {
            update(camera, u"disableLegacyOverlay"_s, u"Image.I0.Text.TextEnabled=no"_s, done);
        }
    });
}

void AxisVapixAPI::listOverlays(const VapixCamera& camera, Done done)
{
    callJson(camera, u"listOverlays"_s, u"dynamicoverlay/dynamicoverlay"_s, u"list"_s, {},
             [this, camera, done = std::move(done)](const VapixResult& result) {
                 if (!result.isOk) {
                     qWarning().noquote() << "Error listing overlays:" << result.text;
                     if (done)
                         done(result);
                     return;
                 }
                 removeOverlays(camera, result.values, result, done);
             });
}

void AxisVapixAPI::removeOverlays(const VapixCamera& camera, const QStringList& ids,
                                  const VapixResult& result, const Done& done)
{
    if (ids.isEmpty() || result.isUnreachable()) {
        if (done)
            done(result);
        return;
    }
    qDebug().noquote() << "Removing overlay ID:" << ids.first();
    callJson(camera, u"removeOverlay"_s, u"dynamicoverlay/dynamicoverlay"_s, u"remove"_s,
             {{u"identity"_s, ids.first().toInt()}},
             [this, camera, others = ids.mid(1), before = result, done](const VapixResult& removed) {
                 removeOverlays(camera, others, removed.isOk ? before : removed, done);
             });
}

} // namespace vt
