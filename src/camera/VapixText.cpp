// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/VapixText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace vt::vapix {

QString encoded(const QString& value)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(value));
}

QUrl url(const QString& host, const QString& cgi, const QString& query)
{
    const QString text = QStringLiteral("http://%1/axis-cgi/%2.cgi%3").arg(host, cgi, query);
    return QUrl::fromEncoded(text.toLatin1(), QUrl::StrictMode);
}

QByteArray body(const QString& method, const QJsonObject& params)
{
    const QJsonObject call{{QStringLiteral("apiVersion"), QStringLiteral("1.0")},
                           {QStringLiteral("context"), QStringLiteral("Vellumtide")},
                           {QStringLiteral("method"), method},
                           {QStringLiteral("params"), params}};
    return QJsonDocument(call).toJson(QJsonDocument::Compact);
}

QString parameter(const QString& answer, const QString& name)
{
    const QString begin = name + QLatin1Char('=');
    const QString longBegin = QStringLiteral("root.") + begin;
    for (const QString& line : answer.split(QLatin1Char('\n'))) {
        const QString text = line.trimmed();
        for (const QString& wanted : {begin, longBegin})
            if (text.startsWith(wanted))
                return text.mid(wanted.size());
    }
    return {};
}

QStringList resolutions(const QString& value)
{
    static const QRegularExpression form(QStringLiteral("^[1-9][0-9]{1,4}x[1-9][0-9]{1,4}$"));
    QStringList result;
    for (const QString& part : value.split(QLatin1Char(',')))
        if (form.match(part.trimmed()).hasMatch())
            result << part.trimmed();
    return result;
}

bool hasDynamicOverlay(const QString& answer)
{
    return answer.contains(QStringLiteral("Properties.DynamicOverlay.DynamicOverlay=yes"));
}

QString legacyPosition(const QString& position)
{
    return position.startsWith(QStringLiteral("bottom")) ? QStringLiteral("bottom") : QStringLiteral("top");
}

JsonAnswer jsonAnswer(const QByteArray& answer)
{
    constexpr int MaxErrorCharacters = 200;
    QJsonParseError fault;
    const QJsonObject object = QJsonDocument::fromJson(answer, &fault).object();
    if (fault.error != QJsonParseError::NoError || object.isEmpty())
        return {QStringLiteral("The answer is no JSON object"), {}};
    if (object.contains(QStringLiteral("error"))) {
        const QJsonObject error = object.value(QStringLiteral("error")).toObject();
        return {QStringLiteral("%1 (code %2)")
                    .arg(error.value(QStringLiteral("message")).toString().left(MaxErrorCharacters),
                         QString::number(error.value(QStringLiteral("code")).toInt())),
                {}};
    }
    return {{}, object.value(QStringLiteral("data")).toObject()};
}

std::vector<int> overlayIds(const QJsonObject& data)
{
    constexpr std::size_t MaxOverlays = 100;
    std::vector<int> ids;
    const QJsonArray overlays = data.value(QStringLiteral("textOverlays")).toArray();
    for (const QJsonValue overlay : overlays) {
        const QJsonValue id = overlay.toObject().value(QStringLiteral("identity"));
        if (id.isDouble() && ids.size() < MaxOverlays)
            ids.push_back(id.toInt());
    }
    return ids;
}

QString withoutPassword(QString text, const QString& password)
{
    static const QRegularExpression query(QStringLiteral("pwd=[^&\\s\"]*"));
    const QString mask = QStringLiteral("***");
    text.replace(query, QStringLiteral("pwd=") + mask);
    if (password.isEmpty())
        return text;
    text.replace(encoded(password), mask);
    return text.replace(password, mask);
}

} // namespace vt::vapix
