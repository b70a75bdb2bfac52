// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>
#include <vector>

/// The texts of VAPIX: what is asked, and what is in the answers. Plain functions.
namespace vt::vapix {

/// A value as it stands in a query: everything but letters, digits and "-._~" percent-encoded.
[[nodiscard]] QString encoded(const QString& value);
/// "http://host/axis-cgi/cgi.cgi" and the query (encoded, with its "?", or empty).
[[nodiscard]] QUrl url(const QString& host, const QString& cgi, const QString& query);
/// The body of a JSON call.
[[nodiscard]] QByteArray body(const QString& method, const QJsonObject& params);

/// The value of the line name=value in a list of parameters, with or without "root." before the name; empty
/// when it is not there.
[[nodiscard]] QString parameter(const QString& answer, const QString& name);
/// "1920x1080,1280x720" as a list, without what is no width x height.
[[nodiscard]] QStringList resolutions(const QString& value);
/// Does the camera draw texts by the newer interface?
[[nodiscard]] bool hasDynamicOverlay(const QString& answer);
/// "top" or "bottom": all that the older interface knows of a position such as "topLeft".
[[nodiscard]] QString legacyPosition(const QString& position);

/// The answer to a JSON call.
struct JsonAnswer
{
    QString error; ///< empty: none
    QJsonObject data;
};
[[nodiscard]] JsonAnswer jsonAnswer(const QByteArray& answer);
/// The ids of the texts in the answer to "list"; 100 at most.
[[nodiscard]] std::vector<int> overlayIds(const QJsonObject& data);

/// text without the password, as it is and percent-encoded, and without what follows "pwd=" in an address.
[[nodiscard]] QString withoutPassword(QString text, const QString& password);

} // namespace vt::vapix
