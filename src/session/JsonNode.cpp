// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/JsonNode.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <cmath>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

bool hasControlCharacter(const QString& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c.category() == QChar::Other_Control; });
}

/// For the end of a message: short and on one line.
QString shown(const QJsonValue& value)
{
    constexpr int longest = 40;
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool() ? u"true"_s : u"false"_s;
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 15);
    case QJsonValue::String: {
        QString text = value.toString();
        std::replace_if(
            text.begin(), text.end(), [](QChar c) { return c.category() == QChar::Other_Control; },
            QChar(u'\ufffd'));
        if (text.size() > longest)
            text = text.left(longest) + u'…';
        return u"\""_s + text + u'"';
    }
    case QJsonValue::Array:
        return u"a list"_s;
    case QJsonValue::Object:
        return u"an object"_s;
    default:
        return u"null"_s;
    }
}

} // namespace

JsonNode::JsonNode(QJsonValue value, QString path, QString& problem)
    : m_value(std::move(value)), m_path(std::move(path)), m_problem(&problem)
{}

bool JsonNode::has(const QString& key) const
{
    return m_value.toObject().contains(key);
}

JsonNode JsonNode::member(const QString& key) const
{
    if (!m_value.isObject())
        fail(u"an object"_s);
    return {m_value.toObject().value(key), m_path.isEmpty() ? key : m_path + u'.' + key, *m_problem};
}

QStringList JsonNode::keys() const
{
    if (!m_value.isObject())
        fail(u"an object"_s);
    return m_value.toObject().keys();
}

std::vector<JsonNode> JsonNode::elements() const
{
    std::vector<JsonNode> nodes;
    if (!m_value.isArray())
        fail(u"a list"_s);
    const QJsonArray list = m_value.toArray();
    for (const QJsonValue element : list)
        nodes.emplace_back(element, u"%1[%2]"_s.arg(m_path, QString::number(nodes.size())), *m_problem);
    return nodes;
}

QString JsonNode::text() const
{
    QString text = m_value.toString();
    if (!m_value.isString())
        fail(u"a text"_s);
    else if (hasControlCharacter(text))
        fail(u"a text without control characters"_s);
    return text;
}

bool JsonNode::flag() const
{
    if (!m_value.isBool())
        fail(u"true or false"_s);
    return m_value.toBool();
}

int JsonNode::wholeNumber(int minimum, int maximum) const
{
    const double value = m_value.toDouble();
    if (m_value.isDouble() && value >= minimum && value <= maximum && std::floor(value) == value)
        return static_cast<int>(value);
    fail(u"a whole number from %1 to %2"_s.arg(minimum).arg(maximum));
    return minimum;
}

double JsonNode::number() const
{
    const double value = m_value.toDouble();
    if (m_value.isDouble() && std::isfinite(value))
        return value;
    fail(u"a number"_s);
    return 0.0;
}

double JsonNode::number(double minimum, double maximum) const
{
    const double value = m_value.toDouble();
    if (m_value.isDouble() && value >= minimum && value <= maximum)
        return value;
    fail(u"a number from %1 to %2"_s.arg(minimum).arg(maximum));
    return minimum;
}

QTime JsonNode::time() const
{
    // The length too: the format alone also takes single digits.
    const QString text = m_value.toString();
    const QTime time = text.size() == 8 ? QTime::fromString(text, u"HH:mm:ss"_s) : QTime();
    if (!time.isValid())
        fail(u"a time of day as \"HH:mm:ss\""_s);
    return time;
}

void JsonNode::fail(const QString& requirement) const
{
    if (m_value.isUndefined())
        failWith(u"%1 is missing."_s.arg(m_path));
    else
        failWith(u"%1 must be %2, not %3."_s.arg(m_path, requirement, shown(m_value)));
}

void JsonNode::failWith(const QString& sentence) const
{
    if (m_problem->isEmpty())
        *m_problem = sentence;
}

} // namespace vt
