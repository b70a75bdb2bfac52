// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QJsonValue>
#include <QString>
#include <QTime>
#include <vector>

namespace vt {

/// A JSON value that knows where in its document it stands: "vexio.cages[3].frequency". What is read from it
/// is checked; the first thing that is wrong is kept in the document's problem text, with that place, and
/// reading goes on with harmless values. Any thread; problem outlives the node.
class JsonNode
{
public:
    /// path is empty for the document itself.
    JsonNode(QJsonValue value, QString path, QString& problem);

    [[nodiscard]] bool has(const QString& key) const;
    /// Of an object. A missing member is wrong once it is read.
    [[nodiscard]] JsonNode member(const QString& key) const;
    [[nodiscard]] QStringList keys() const;
    [[nodiscard]] std::vector<JsonNode> elements() const;

    /// Without control characters: such a text would tear lines of the files that it is written to.
    [[nodiscard]] QString text() const;
    [[nodiscard]] bool flag() const;
    [[nodiscard]] int wholeNumber(int minimum, int maximum) const;
    /// Any number.
    [[nodiscard]] double number() const;
    [[nodiscard]] double number(double minimum, double maximum) const;
    /// "HH:mm:ss".
    [[nodiscard]] QTime time() const;

    [[nodiscard]] const QString& path() const { return m_path; }
    /// "<path> must be <requirement>, not <value>.", or "<path> is missing."
    void fail(const QString& requirement) const;
    /// The whole sentence.
    void failWith(const QString& sentence) const;

private:
    QJsonValue m_value;
    QString m_path;
    QString* m_problem;
};

} // namespace vt
