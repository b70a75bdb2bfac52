// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AnimalIdImport.h"

#include "daqmx/KeepAlive.h"
#include "platform/CrashHandler.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringDecoder>
#include <algorithm>
#include <array>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int EndWaitMs = 500;

QString text(const char* source)
{
    return QCoreApplication::translate("AnimalIdImport", source);
}

std::variant<QString, TableError> decode(const QByteArray& bytes)
{
    const auto encoding = QStringConverter::encodingForData(bytes);
    QStringDecoder decoder(encoding.value_or(QStringConverter::Utf8));
    QString decoded = decoder(bytes);
    if (decoder.hasError() && !encoding)
        decoded = QString::fromLatin1(bytes); // as older spreadsheet programs export
    if (decoded.startsWith(QChar::ByteOrderMark))
        decoded.remove(0, 1);
    if (decoded.contains(QChar(0)))
        return TableError{text("It is not a text file.")};
    return decoded;
}

/// Tab before semicolon before comma: numbers have commas in them, remarks have semicolons. The first two
/// lines decide, so that a remark in the heading does not.
QChar separatorOf(const QString& content)
{
    QList<QStringView> lines;
    for (qsizetype begin = 0; begin < content.size() && lines.size() < 2;) {
        qsizetype end = content.indexOf(u'\n', begin);
        end = end < 0 ? content.size() : end;
        if (const auto line = QStringView(content).sliced(begin, end - begin); !line.trimmed().isEmpty())
            lines << line;
        begin = end + 1;
    }
    for (const QChar candidate : {u'\t', u';'})
        if (std::all_of(lines.begin(), lines.end(),
                        [candidate](QStringView line) { return line.contains(candidate); }))
            return candidate;
    return u',';
}

/// The first fields of the records of a CSV text. A quote opens a quoted field only at its beginning.
class FirstFields
{
public:
    explicit FirstFields(QChar separator) : m_separator(separator) {}

    QStringList take(const QString& content)
    {
        for (qsizetype i = 0; i < content.size() && m_fields.size() <= tablelimits::Rows; ++i) {
            const bool isDoubled = i + 1 < content.size() && content[i + 1] == u'"';
            if (content[i] == u'"' && m_isQuoted && isDoubled) {
                ++i;
                add(u'"');
            } else {
                read(content[i]);
            }
        }
        if (!m_field.isEmpty())
            m_fields << m_field;
        return m_fields;
    }

private:
    void read(QChar c)
    {
        if (c == u'"' && (m_isQuoted || m_isBlank)) {
            m_isQuoted = !m_isQuoted;
            m_isBlank = false;
        } else if (!m_isQuoted && c == u'\n') {
            m_fields << m_field;
            m_field.clear();
            m_isFirst = m_isBlank = true;
        } else if (!m_isQuoted && c == m_separator) {
            m_isFirst = false;
            m_isBlank = true;
        } else {
            add(c);
        }
    }

    void add(QChar c)
    {
        m_isBlank = m_isBlank && c.isSpace();
        if (m_isFirst)
            m_field += c;
    }

    const QChar m_separator;
    QStringList m_fields;
    QString m_field;
    bool m_isQuoted = false;
    bool m_isFirst = true; ///< of its record
    bool m_isBlank = true; ///< so far
};

/// What can be in a header and a setup file, which hold no control characters.
QString cleaned(QString cell)
{
    std::replace_if(
        cell.begin(), cell.end(), [](QChar c) { return c.category() == QChar::Other_Control; }, u' ');
    return cell.simplified();
}

AnimalIdColumn checked(QStringList column)
{
    if (column.size() > tablelimits::Rows)
        return TableError{text("It has more than %1 rows.").arg(tablelimits::Rows)};
    for (qsizetype row = 0; row < column.size(); ++row) {
        if (column[row].size() > tablelimits::CellCharacters)
            return TableError{text("Row %1 is too long for an animal ID: more than %2 characters.")
                                  .arg(row + 1)
                                  .arg(tablelimits::CellCharacters)};
        column[row] = cleaned(column[row]);
    }
    while (!column.isEmpty() && column.last().isEmpty())
        column.removeLast();
    if (column.isEmpty())
        return TableError{text("Its first column is empty.")};
    return column;
}

bool hasDigit(const QString& cell)
{
    return std::any_of(cell.begin(), cell.end(), [](QChar c) { return c.isDigit(); });
}

QString numbers(const QList<qsizetype>& values)
{
    QStringList words;
    for (const qsizetype value : values)
        words << QString::number(value);
    return words.join(u", "_s);
}

/// The first few of what may be hundreds.
QString firstOf(const QStringList& ids)
{
    constexpr qsizetype shown = 5;
    QString words = ids.mid(0, shown).join(u", "_s);
    return ids.size() > shown ? words + u", …"_s : words;
}

void findDuplicates(AnimalIdPlan& plan)
{
    QHash<QString, QList<qsizetype>> channels;
    QStringList inOrder;
    for (qsizetype channel = 0; channel < plan.ids.size(); ++channel) {
        const QString& id = plan.ids[channel];
        if (id.isEmpty())
            continue;
        if (!channels.contains(id))
            inOrder << id;
        channels[id] << channel + 1;
    }
    for (const QString& id : inOrder)
        if (channels[id].size() > 1)
            plan.findings << text("“%1” is on channels %2. Each animal should have an ID of its own.")
                                 .arg(id, numbers(channels[id]));
}

} // namespace

AnimalIdColumn readAnimalIdFile(const QString& path)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) // a pipe would wait for its writer
        return TableError{text("It is not a file.")};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return TableError{file.errorString()};
    if (file.size() > tablelimits::Bytes)
        return TableError{text("It is larger than 64 MiB.")};
    if (path.endsWith(".xlsx"_L1, Qt::CaseInsensitive)) {
        AnimalIdColumn column = readXlsxColumn(file);
        if (auto* cells = std::get_if<QStringList>(&column))
            return checked(std::move(*cells));
        return column;
    }
    const QByteArray bytes = file.read(tablelimits::Bytes);
    if (file.error() != QFileDevice::NoError)
        return TableError{file.errorString()};
    return parseAnimalIdText(bytes);
}

AnimalIdColumn parseAnimalIdText(const QByteArray& bytes)
{
    auto decoded = decode(bytes);
    if (const auto* error = std::get_if<TableError>(&decoded))
        return *error;
    QString& content = std::get<QString>(decoded);
    content.replace("\r\n"_L1, "\n"_L1);
    content.replace(u'\r', u'\n');
    return checked(FirstFields(separatorOf(content)).take(content));
}

bool startsWithHeading(const QStringList& column)
{
    if (column.size() < 2 || column.first().isEmpty())
        return false;
    static const QStringList usual{u"animal"_s,   u"animalid"_s,     u"animalids"_s, u"animalname"_s,
                                   u"animalno"_s, u"animalnumber"_s, u"id"_s,        u"ids"_s,
                                   u"mouse"_s,    u"mouseid"_s,      u"rat"_s,       u"ratid"_s,
                                   u"subject"_s,  u"subjectid"_s,    u"name"_s,      u"tag"_s,
                                   u"eartag"_s,   u"number"_s,       u"no"_s};
    QString letters;
    for (const QChar c : column.first().toLower())
        if (c.isLetterOrNumber())
            letters += c;
    if (usual.contains(letters))
        return true;
    // Animals are numbered, and the word above them is not.
    return column.size() > 2 && !hasDigit(column.first()) &&
           std::all_of(column.begin() + 1, column.end(),
                       [](const QString& cell) { return cell.isEmpty() || hasDigit(cell); });
}

AnimalIdPlan planAnimalIds(const QStringList& column, bool hasHeading, const QStringList& current)
{
    const QStringList list = column.mid(hasHeading ? 1 : 0);
    const qsizetype first = hasHeading ? 2 : 1; // row of the first ID, as the file counts
    AnimalIdPlan plan;
    plan.ids = current;
    plan.taken = static_cast<int>(std::min(list.size(), current.size()));
    QList<qsizetype> emptyRows;
    QList<qsizetype> emptyChannels;
    for (qsizetype channel = 0; channel < plan.taken; ++channel) {
        plan.ids[channel] = list[channel];
        if (list[channel].isEmpty()) {
            emptyRows << first + channel;
            emptyChannels << channel + 1;
        }
    }
    if (list.size() > current.size())
        plan.findings << text("The list has %1 IDs for %2 channels. These are left out: %3")
                             .arg(list.size())
                             .arg(current.size())
                             .arg(firstOf(list.mid(current.size())));
    else if (list.size() < current.size())
        plan.findings << text("The list has %1 IDs for %2 channels. The other channels keep what they have.")
                             .arg(list.size())
                             .arg(current.size());
    if (!emptyRows.isEmpty())
        plan.findings << text("Row %1 is empty: channel %2 goes by its number.")
                             .arg(numbers(emptyRows), numbers(emptyChannels));
    findDuplicates(plan);
    return plan;
}

AnimalIdLoader::~AnimalIdLoader()
{
    const QDeadlineTimer end(EndWaitMs);
    for (const auto& thread : m_threads)
        if (!thread->wait(end))
            keepAliveForever(thread);
}

void AnimalIdLoader::load(const QString& path, std::function<void(const AnimalIdColumn&)> loaded)
{
    std::erase_if(m_threads, [](const auto& thread) { return thread->isFinished(); });
    m_threads.emplace_back(QThread::create(
        [this, path, mine = ++m_request, loaded = std::move(loaded), answers = m_answers.address()] {
            CrashHandler::prepareThread();
            answers->post([this, mine, loaded, column = readAnimalIdFile(path)] {
                if (mine == m_request)
                    loaded(column);
            });
        }));
    m_threads.back()->setObjectName(QStringLiteral("animal IDs"));
    m_threads.back()->start();
}

} // namespace vt
