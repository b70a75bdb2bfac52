// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/XlsxColumn.h"

#include "session/ZipPart.h"

#include <QCoreApplication>
#include <QDir>
#include <QXmlStreamReader>
#include <map>
#include <optional>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("AnimalIdImport", source);
}

/// A cell of column A: its text, or which of the workbook's shared texts it shows.
struct Cell
{
    QString text;
    std::optional<int> shared;
};
using Cells = std::map<int, Cell>; ///< by row, from 0

/// Reads one workbook; the first problem wins.
class Workbook
{
public:
    explicit Workbook(QIODevice& file) : m_archive(file, tablelimits::Bytes) {}

    std::variant<QStringList, TableError> firstColumn()
    {
        if (!m_archive.isOpen())
            return TableError{text("It is not an Excel workbook (.xlsx), or it is damaged.")};
        Cells cells;
        const QString sheet = sheetPart(firstSheetId());
        if (m_problem.isEmpty())
            readPart(sheet, [&](QXmlStreamReader& xml) { readRow(xml, cells); });
        if (m_problem.isEmpty())
            resolveShared(cells);
        if (!m_problem.isEmpty())
            return TableError{m_problem};
        QStringList column(cells.empty() ? 0 : cells.rbegin()->first + 1);
        for (const auto& [row, cell] : cells)
            column[row] = cell.text;
        return column;
    }

private:
    void fail(const QString& problem)
    {
        if (m_problem.isEmpty())
            m_problem = problem;
    }

    /// Calls handle at each start of an element until it has no more to do, or something is wrong.
    template <typename Handle>
    void readPart(const QString& name, Handle handle)
    {
        std::unique_ptr<QIODevice> part = m_archive.open(name);
        if (part) {
            QXmlStreamReader xml(part.get());
            while (!xml.atEnd() && m_problem.isEmpty()) {
                const QXmlStreamReader::TokenType token = xml.readNext();
                if (token == QXmlStreamReader::DTD)
                    fail(text("It is damaged: the workbook declares a document type."));
                else if (token == QXmlStreamReader::StartElement)
                    handle(xml);
            }
            noteEnd(xml);
        }
        part.reset();
        if (m_archive.isTooLarge())
            m_problem = text("It unpacks to more than 64 MiB.");
        else if (m_archive.isDamaged())
            m_problem = text("The workbook is damaged and cannot be unpacked.");
    }

    void noteEnd(const QXmlStreamReader& xml)
    {
        if (xml.hasError() && xml.error() != QXmlStreamReader::CustomError)
            fail(text("The workbook is damaged: %1").arg(xml.errorString()));
    }

    QString firstSheetId()
    {
        QString id;
        bool isWorkbook = false;
        readPart(u"xl/workbook.xml"_s, [&](QXmlStreamReader& xml) {
            isWorkbook = isWorkbook || xml.name() == "workbook"_L1;
            if (xml.name() != "sheet"_L1 || !id.isEmpty() ||
                xml.attributes().value("state"_L1).startsWith("hidden"_L1))
                return;
            for (const QXmlStreamAttribute& attribute : xml.attributes())
                if (attribute.name() == "id"_L1 && attribute.namespaceUri().contains("relationships"_L1))
                    id = attribute.value().toString();
        });
        if (!isWorkbook)
            fail(text("It is not an Excel workbook (.xlsx)."));
        return id;
    }

    QString sheetPart(const QString& id)
    {
        QString target;
        if (!m_problem.isEmpty())
            return target;
        readPart(u"xl/_rels/workbook.xml.rels"_s, [&](QXmlStreamReader& xml) {
            if (xml.name() == "Relationship"_L1 && xml.attributes().value("Id"_L1) == id)
                target = xml.attributes().value("Target"_L1).toString();
        });
        if (target.isEmpty())
            fail(text("The workbook has no sheet that can be read."));
        return target.startsWith(u'/') ? target.mid(1) : QDir::cleanPath(u"xl/"_s + target);
    }

    void readRow(QXmlStreamReader& xml, Cells& cells)
    {
        if (xml.name() == "row"_L1) {
            bool isNumber = false;
            const int number = xml.attributes().value("r"_L1).toInt(&isNumber);
            m_row = isNumber ? number - 1 : m_row + 1;
            m_isRowStart = true;
            return;
        }
        if (xml.name() != "c"_L1)
            return;
        const QStringView place = xml.attributes().value("r"_L1);
        const bool isFirst =
            place.isEmpty() ? m_isRowStart : place.size() > 1 && place[0] == u'A' && place[1].isDigit();
        m_isRowStart = false;
        if (!isFirst)
            return;
        const Cell cell = readCell(xml);
        if (cell.text.isEmpty() && !cell.shared)
            return;
        if (m_row < 0 || m_row >= tablelimits::Rows)
            fail(text("It has more than %1 rows.").arg(tablelimits::Rows));
        else
            cells[m_row] = cell;
    }

    Cell readCell(QXmlStreamReader& xml)
    {
        const QString type = xml.attributes().value("t"_L1).toString();
        Cell cell;
        while (xml.readNextStartElement()) {
            if (xml.name() == "v"_L1)
                cell.text = xml.readElementText();
            else if (xml.name() == "is"_L1)
                cell.text = readRuns(xml);
            else
                xml.skipCurrentElement();
        }
        if (type == "s"_L1) {
            bool isNumber = false;
            const int index = cell.text.toInt(&isNumber);
            if (isNumber && index >= 0)
                cell.shared = index;
            cell.text.clear();
        } else if (type.isEmpty() || type == "n"_L1) {
            cell.text = numberText(cell.text);
        } else if (type == "b"_L1) {
            cell.text = cell.text == "1"_L1 ? u"TRUE"_s : u"FALSE"_s;
        }
        return cell;
    }

    /// Stored numbers have up to 17 digits, of which a sheet shows 15.
    static QString numberText(const QString& stored)
    {
        bool isNumber = false;
        const double number = stored.toDouble(&isNumber);
        return isNumber && stored.size() > 15 ? QString::number(number, 'g', 15) : stored;
    }

    /// The text of a shared or inline string: all its runs, without the reading aids of East Asian scripts.
    static QString readRuns(QXmlStreamReader& xml)
    {
        QString all;
        while (xml.readNextStartElement()) {
            if (xml.name() == "t"_L1)
                all += xml.readElementText();
            else if (xml.name() == "r"_L1)
                all += readRuns(xml);
            else
                xml.skipCurrentElement();
        }
        return all;
    }

    void resolveShared(Cells& cells)
    {
        std::map<int, QString> wanted;
        for (const auto& [row, cell] : cells)
            if (cell.shared)
                wanted[*cell.shared];
        if (wanted.empty())
            return;
        int index = -1;
        readPart(u"xl/sharedStrings.xml"_s, [&](QXmlStreamReader& xml) {
            if (xml.name() != "si"_L1)
                return;
            if (const auto entry = wanted.find(++index); entry != wanted.end())
                entry->second = readRuns(xml).left(tablelimits::CellCharacters + 1);
        });
        if (index < wanted.rbegin()->first)
            fail(text("The workbook is damaged: texts are missing."));
        for (auto& [row, cell] : cells)
            if (cell.shared)
                cell.text = wanted[*cell.shared];
    }

    ZipArchive m_archive;
    QString m_problem;
    int m_row = -1;
    bool m_isRowStart = false;
};

} // namespace

std::variant<QStringList, TableError> readXlsxColumn(QIODevice& file)
{
    return Workbook(file).firstColumn();
}

} // namespace vt
