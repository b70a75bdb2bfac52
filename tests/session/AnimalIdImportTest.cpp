// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AnimalIdImport.h"
#include "session/UnitInfo.h"

#include "recording/McuHeader.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>
#include <zip.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

using Parts = std::vector<std::pair<const char*, QByteArray>>;

const QByteArray WorkbookXml =
    R"(<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"
 xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><sheets>
 <sheet name="notes" sheetId="1" state="hidden" r:id="rId1"/><sheet name="mice" sheetId="2" r:id="rId2"/>
 </sheets></workbook>)";
const QByteArray RelationsXml =
    R"(<Relationships><Relationship Id="rId1" Target="worksheets/sheet1.xml"/>
 <Relationship Id="rId2" Target="/xl/worksheets/sheet2.xml"/></Relationships>)";
const QByteArray SharedXml = R"(<sst><si><t>unused</t></si><si><t>Animal ID</t></si>
 <si><r><t>M-</t></r><r><t xml:space="preserve">10 </t></r><rPh><t>x</t></rPh></si></sst>)";
const QByteArray SheetXml = R"(<worksheet><sheetData>
 <row r="1"><c r="A1" t="s"><v>1</v></c><c r="B1" t="s"><v>0</v></c></row>
 <row r="2"><c r="A2" t="s"><v>2</v></c></row>
 <row r="4"><c r="A4"><v>101</v></c></row>
 <row r="5"><c r="A5" t="inlineStr"><is><t>M&amp;M</t></is></c></row>
 <row r="6"><c r="AA6" t="str"><v>not column A</v></c></row></sheetData></worksheet>)";

QString writeWorkbook(const QTemporaryDir& folder, const Parts& parts)
{
    const QString path = folder.filePath(u"list.XLSX"_s);
    zipFile zip = zipOpen64(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    for (const auto& [name, content] : parts) {
        zip_fileinfo info{};
        zipOpenNewFileInZip(zip, name, &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, 1);
        zipWriteInFileInZip(zip, content.constData(), static_cast<unsigned>(content.size()));
        zipCloseFileInZip(zip);
    }
    zipClose(zip, nullptr);
    return path;
}

Parts workbook(const QByteArray& sheet)
{
    return {{"xl/workbook.xml", WorkbookXml},
            {"xl/_rels/workbook.xml.rels", RelationsXml},
            {"xl/sharedStrings.xml", SharedXml},
            {"xl/worksheets/sheet2.xml", sheet}};
}

QStringList cells(const AnimalIdColumn& column)
{
    const auto* list = std::get_if<QStringList>(&column);
    return list ? *list : QStringList{u"error: "_s + std::get<TableError>(column).text};
}

QString error(const AnimalIdColumn& column)
{
    const auto* problem = std::get_if<TableError>(&column);
    return problem ? problem->text : QString();
}

} // namespace

TEST(AnimalIdImport, TakesTheFirstColumnOfTextInManyShapes)
{
    const QByteArray utf16("\xFF\xFE"
                           "M\0001\000\n\0M\0002\0",
                           12);
    const std::vector<std::pair<QByteArray, QStringList>> cases{
        {"M1\nM2\n\n\n", {u"M1"_s, u"M2"_s}},
        {"\xEF\xBB\xBF"
         "ID;cage\r\n M1 ;\"1;\n2\"\r\n;3\r\nM3;4",
         {u"ID"_s, u"M1"_s, u""_s, u"M3"_s}},
        {"\"M \"\"1\"\"\",5\" long,x\n\"M,\n2\",b\n", {u"M \"1\""_s, u"M, 2"_s}},
        {"M1\tweight, g, dry\nM2\t20\n", {u"M1"_s, u"M2"_s}},
        {"M\xFC\rM2", {u"Mü"_s, u"M2"_s}},
        {utf16, {u"M1"_s, u"M2"_s}},
    };
    for (const auto& [bytes, wanted] : cases)
        EXPECT_EQ(cells(parseAnimalIdText(bytes)), wanted) << bytes.constData();
    EXPECT_TRUE(error(parseAnimalIdText("\n , \n")).contains(u"empty"_s));
    EXPECT_TRUE(error(parseAnimalIdText(QByteArray("PK\0\3", 4))).contains(u"not a text file"_s));
    EXPECT_TRUE(error(parseAnimalIdText(QByteArray(20001, '\n'))).contains(u"10000 rows"_s));
    EXPECT_TRUE(error(parseAnimalIdText("M1\n" + QByteArray(257, 'x'))).contains(u"Row 2"_s));
}

TEST(AnimalIdImport, TakesTheFirstColumnOfTheFirstVisibleSheet)
{
    const QTemporaryDir folder;
    const AnimalIdColumn column = readAnimalIdFile(writeWorkbook(folder, workbook(SheetXml)));
    EXPECT_EQ(cells(column), (QStringList{u"Animal ID"_s, u"M-10"_s, u""_s, u"101"_s, u"M&M"_s}));
    EXPECT_TRUE(startsWithHeading(cells(column)));
}

TEST(AnimalIdImport, SaysWhatIsWrongWithAWorkbook)
{
    const QTemporaryDir folder;
    const auto problem = [&folder](const Parts& parts) {
        return error(readAnimalIdFile(writeWorkbook(folder, parts)));
    };
    EXPECT_TRUE(problem({{"mimetype", "application/x"}}).contains(u"not an Excel workbook"_s));
    EXPECT_TRUE(problem(workbook("<worksheet><row><c><v>1</v>")).contains(u"damaged"_s));
    EXPECT_TRUE(
        problem(workbook("<!DOCTYPE a [<!ENTITY b \"c\">]><worksheet/>")).contains(u"document type"_s));
    EXPECT_TRUE(problem(workbook(R"(<sheetData><row r="20000"><c r="A20000"><v>1</v></c></row></sheetData>)"))
                    .contains(u"10000 rows"_s));
    EXPECT_TRUE(problem(workbook(R"(<sheetData><row r="1"><c r="A1" t="s"><v>7</v></c></row></sheetData>)"))
                    .contains(u"texts are missing"_s));
    EXPECT_TRUE(problem(workbook("<sheetData><row r=\"1\"/></sheetData>")).contains(u"empty"_s));
    const QByteArray bomb = "<sheetData>" + QByteArray(70 << 20, ' ') + "</sheetData>";
    EXPECT_TRUE(problem(workbook(bomb)).contains(u"64 MiB"_s));

    const QString cut = writeWorkbook(folder, workbook(SheetXml));
    QFile file(cut);
    ASSERT_TRUE(file.resize(file.size() / 2));
    EXPECT_TRUE(error(readAnimalIdFile(cut)).contains(u"damaged"_s));
    EXPECT_FALSE(error(readAnimalIdFile(folder.filePath(u"none.csv"_s))).isEmpty());
    EXPECT_TRUE(error(readAnimalIdFile(folder.path())).contains(u"not a file"_s));
}

TEST(AnimalIdImport, AFlippedByteAnywhereNeverDoesMoreThanChangeOrRefuse)
{
    const QTemporaryDir folder;
    const QString path = writeWorkbook(folder, workbook(SheetXml));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    file.close();
    for (qsizetype at = 0; at < whole.size(); at += 3) {
        QByteArray broken = whole;
        broken[at] = static_cast<char>(~broken[at]);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(broken);
        file.close();
        const AnimalIdColumn column = readAnimalIdFile(path);
        EXPECT_TRUE(std::holds_alternative<TableError>(column) || cells(column).size() <= tablelimits::Rows);
    }
}

TEST(AnimalIdImport, RecognisesHeadings)
{
    for (const QStringList& column : {QStringList{u"Animal-ID"_s, u"A"_s}, QStringList{u"ID"_s, u"7"_s},
                                      QStringList{u"Maus"_s, u"M1"_s, u""_s, u"M2"_s}})
        EXPECT_TRUE(startsWithHeading(column)) << qPrintable(column.first());
    for (const QStringList& column :
         {QStringList{u"M1"_s, u"M2"_s, u"M3"_s}, QStringList{u"Anna"_s, u"Bob"_s},
          QStringList{u"Maus"_s, u"M1"_s}, QStringList{u"ID"_s}})
        EXPECT_FALSE(startsWithHeading(column)) << qPrintable(column.first());
}

TEST(AnimalIdImport, ThePlanPointsOutWhatTheUserShouldLookAt)
{
    const QStringList current{u"a"_s, u"b"_s, u"c"_s, u"M3"_s};
    const AnimalIdPlan few = planAnimalIds({u"ID"_s, u"M3"_s, u""_s, u"M1"_s}, true, current);
    EXPECT_EQ(few.ids, (QStringList{u"M3"_s, u""_s, u"M1"_s, u"M3"_s}));
    EXPECT_EQ(few.taken, 3);
    const QString found = few.findings.join(u'\n');
    EXPECT_TRUE(found.contains(u"3 IDs for 4 channels"_s)) << qPrintable(found);
    EXPECT_TRUE(found.contains(u"Row 3 is empty: channel 2"_s)) << qPrintable(found);
    EXPECT_TRUE(found.contains(u"“M3” is on channels 1, 4"_s)) << qPrintable(found);

    const AnimalIdPlan many = planAnimalIds({u"1"_s, u"2"_s, u"3"_s}, false, {u""_s, u""_s});
    EXPECT_EQ(many.ids, (QStringList{u"1"_s, u"2"_s}));
    EXPECT_EQ(many.findings.size(), 1);
    EXPECT_TRUE(many.findings.join(u' ').contains(u"left out: 3"_s));
}

TEST(AnimalIdLoader, OnlyTheLastListThatWasAskedForArrives)
{
    const QTemporaryDir folder;
    for (const char* name : {"1", "2"}) {
        QFile file(folder.filePath(QLatin1String(name)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(name);
    }
    AnimalIdLoader loader;
    QStringList arrived;
    for (const QString& name : {u"1"_s, u"2"_s})
        loader.load(folder.filePath(name),
                    [&arrived](const AnimalIdColumn& column) { arrived << cells(column); });
    EXPECT_TRUE(QTest::qWaitFor([&] { return !arrived.isEmpty(); }));
    EXPECT_EQ(arrived, QStringList{u"2"_s});
}

TEST(UnitInfo, TellsWhatTheUnitSaysOfItselfAndWhatIsWrongWithItsSensors)
{
    MCUHeader header;
    header.sensorCount = 8;
    header.manufacturingDate = u"2024_06_07"_s;
    header.buildInfo = {17, 'M', 'a', 'r', 25, 9, 41, '2', '.', '5', '0', '1', '.', '4', '.', '2'};
    header.status = 0x02;
    header.shortedMask = 0b10100;
    const UnitInfo info = describeUnit(header);
    QString rows;
    for (const auto& [name, value] : info.rows)
        rows += name + u'=' + value + u'\n';
    EXPECT_TRUE(rows.contains(u"1.4.2, built 17 Mar 2025 09:41"_s)) << qPrintable(rows);
    ASSERT_EQ(info.warnings.size(), 2);
    EXPECT_TRUE(info.warnings[0].contains(u"3, 5"_s));
    header = {};
    EXPECT_TRUE(describeUnit(header).warnings.isEmpty());
}
