// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "camera/VapixRequest.h"

#include <QDateTime>
#include <QHostAddress>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace vt {

/// Where a camera is, and who logs in there.
struct VapixCamera
{
    QHostAddress address; ///< IPv4
    QString user = QStringLiteral("root");
    QString password = QStringLiteral("lensgate"); ///< the system's default; never logged
    quint16 port = 80;
};

/// What came of one operation.
struct VapixResult
{
    QHostAddress address;
    QString operation; ///< "setResolution", "checkOverlay:text:position:size", ...
    bool isOk = false;
    QString text;       ///< the answer, or why it failed; without passwords
    QStringList values; ///< resolutions, ids of texts, or "yes" for what the camera supports
    int httpStatus = 0; ///< 0: the camera did not answer
    /// Nobody answers at the address, so that further requests would only wait.
    [[nodiscard]] bool isUnreachable() const { return !isOk && httpStatus == 0; }
};

/// The HTTP interface of the cameras. Every operation returns at once and reports once: to its callback, on
/// this object's thread, and by requestFinished for each single request that it made. Nothing is retried.
/// Operations that have not ended when this is destroyed never report.
class AxisVapixAPI : public QObject
{
    Q_OBJECT

public:
    using Done = std::function<void(const VapixResult&)>;
    static constexpr int OverlayFontSize = 36;

    explicit AxisVapixAPI(TimeSource& time);
    ~AxisVapixAPI() override;

    /// Gives a camera in its factory state the password of camera.
    void initializePassword(const VapixCamera& camera, Done done);
    /// values: "1920x1080", ...
    void getSupportedResolutions(const VapixCamera& camera, Done done);
    /// values: one such text.
    void getCurrentResolution(const VapixCamera& camera, Done done);
    void setResolution(const VapixCamera& camera, int width, int height, Done done);
    /// degrees: 0, 90, 180, 270. Falls back to the older parameter.
    void setRotation(const VapixCamera& camera, int degrees, Done done);
    /// "NTP", "PC" or "None".
    void setTimeSource(const VapixCamera& camera, const QString& source, Done done);
    void setTime(const VapixCamera& camera, const QDateTime& time, Done done);
    /// zone: an IANA name, such as "Europe/Berlin".
    void setTimeZone(const VapixCamera& camera, const QString& zone, Done done);
    /// Prints text into the picture: by the newer interface when the camera has it, else by the older one.
    /// position: "topLeft", "topRight", "bottomLeft" or "bottomRight".
    void setTextOverlay(const VapixCamera& camera, const QString& text, const QString& position,
                        const Done& done, int fontSize = OverlayFontSize);
    void removeAllOverlays(const VapixCamera& camera, const Done& done);

signals:
    void requestFinished(const vt::VapixResult& result);

private:
    /// Judges the answer to a request: may set isOk to false, text and values.
    using Judge = std::function<void(VapixResult&, const QByteArray&)>;
    struct Call
    {
        VapixCamera camera;
        QString operation;
        QString cgi;
        QString query;
        QByteArray body; ///< empty: GET
    };

    void request(const Call& call, Judge judge, Done done);
    void list(const VapixCamera& camera, const QString& operation, const QString& group, Judge judge,
              Done done);
    void update(const VapixCamera& camera, const QString& operation, const QString& assignments, Done done);
    void callJson(const VapixCamera& camera, const QString& operation, const QString& cgi,
                  const QString& method, const QJsonObject& params, Done done);
    void askForDynamicOverlay(const VapixCamera& camera, const QString& operation, Done done);
    void listOverlays(const VapixCamera& camera, Done done);
    void removeOverlays(const VapixCamera& camera, const QStringList& ids, const VapixResult& result,
                        const Done& done);
    void handleAnswer(const VapixRequest* request, const Call& call, const Judge& judge, const Done& done,
                      const VapixRequest::Answer& answer);

    TimeSource& m_time;
    QNetworkAccessManager m_network; ///< outlives the requests
    std::vector<std::unique_ptr<VapixRequest>> m_pending;
    std::vector<std::unique_ptr<VapixRequest>> m_ended; ///< one of their functions may still be running
    Inbox m_inbox;
};

} // namespace vt
