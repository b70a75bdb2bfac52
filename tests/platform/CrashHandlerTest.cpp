// SPDX-License-Identifier: GPL-3.0-or-later
// A program of its own dies in every way that the handler knows; its report, log and exit status are looked
// at.
#include "platform/linux/CrashProgram.h"
#include "platform/linux/ModuleTable.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <string>

namespace vt {
namespace {

struct Way
{
    const char* name;
    int signal;
    const char* code;
    const char* type;
    const char* moreLines; ///< pattern of what follows the type
    const char* function;  ///< of the crashing thread's frames, with its line's pattern
};

void PrintTo(const Way& way, std::ostream* out)
{
    *out << way.name;
}

QProcessEnvironment offscreen()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return environment;
}

class Crash : public testing::TestWithParam<Way>
{
protected:
    void SetUp() override
    {
        QProcess program;
        program.setProcessEnvironment(offscreen()); // so that no box stays
        program.start(QStringLiteral(VELLUMTIDE_CRASHING_PROGRAM),
                      {QString::fromLatin1(GetParam().name), m_folder.path(),
                       QStringLiteral(VELLUMTIDE_CRASH_REPORT_PROGRAM)});
        ASSERT_TRUE(program.waitForFinished(20'000)) << "it hangs";
        m_exitStatus = program.exitStatus();
        m_exitCode = program.exitCode();
        m_error = QString::fromUtf8(program.readAllStandardError());
        const QDir folder(m_folder.filePath(QStringLiteral("crash_logs")));
        const QStringList names = folder.entryList(QDir::Files);
        ASSERT_EQ(names.size(), QByteArrayView(GetParam().name) == "full" ? 0 : 1);
        if (names.isEmpty())
            return;
        m_path = folder.filePath(names.front());
        m_report = content(m_path);
    }
    static QString content(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    [[nodiscard]] QString log() const
    {
        const QDir folder(m_folder.filePath(QStringLiteral("logs")));
        return content(folder.filePath(folder.entryList(QDir::Files).value(0)));
    }
    void expectMatch(const QString& text, const QString& pattern) const
    {
        const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
        EXPECT_TRUE(expression.isValid()) << pattern.toStdString();
        EXPECT_TRUE(expression.match(text).hasMatch()) << pattern.toStdString() << "\n--- is not in ---\n"
                                                       << text.left(6000).toStdString();
    }

    QTemporaryDir m_folder;
    QString m_path;
    QString m_report;
    QString m_error;
    QProcess::ExitStatus m_exitStatus = QProcess::NormalExit;
    int m_exitCode = 0;
};

TEST_P(Crash, LeavesAReportAndEndsByItsSignal)
{
    const Way& way = GetParam();
    EXPECT_EQ(m_exitStatus, QProcess::CrashExit);
    EXPECT_EQ(m_exitCode, way.signal);

    const QString hex = QStringLiteral("0x[0-9A-F]+");
    expectMatch(m_path, QStringLiteral("/crash_\\d{8}_\\d{6}\\.txt$"));
    expectMatch(m_report,
                QStringLiteral(
                    "\\AApplication crashed at: \\d{4}/\\d\\d/\\d\\d \\d+:\\d\\d:\\d\\d UTC[+-]\\d{4}\n"
                    "Exception code: 0x%1\nException address: %2\nException type: %3\n%4"
                    "Crashing module: [/?].*\n\n={40}\nCRASHING THREAD \\(ID: \\d+\\)\nFrame 0: %2 \\[[/?]")
                    .arg(QString::fromLatin1(way.code), hex, QString::fromLatin1(way.type),
                         QString::fromLatin1(way.moreLines)));
    const QString dying = m_report.section(QStringLiteral("ALL THREADS"), 0, 0);
    expectMatch(
        dying,
        QStringLiteral("^Frame \\d+: %1 \\[/.*\\] \\+ %1 %2").arg(hex, QString::fromLatin1(way.function)));
    // A thread that waits, with what it waits in.
    const QString others = m_report.section(QStringLiteral("ALL THREADS"), 1);
    expectMatch(others, QStringLiteral("^--- Thread ID: \\d+ ---\n(Frame .*\n)*Frame .*waitForEver\\(\\) "
                                       "\\(.*CrashingProgram\\.cpp:\\d+\\)"));
    expectMatch(m_error, QStringLiteral("^Application crashed!\nCrash log saved to:\n%1\n\nException: %2$")
                             .arg(QRegularExpression::escape(m_path), QString::fromLatin1(way.type)));
    expectMatch(log(), QStringLiteral("LogManager: Initialization complete\n"));
    if (QByteArrayView(way.name) == "fatal")
        expectMatch(log(),
                    QStringLiteral("^\\[.* F\\] tests/platform/CrashingProgram.cpp:\\d+ - the last words$"));
}

INSTANTIATE_TEST_SUITE_P(
    Every, Crash,
    testing::Values(
        Way{"read", SIGSEGV, "C0000005", "Access Violation", "Access type: Read\nAddress: 0x40\n",
            "readWhereNothingIs\\(int const\\*\\) \\(.*CrashingProgram\\.cpp:\\d+\\)"},
        Way{"write", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "writeWhereNothingIs\\(int\\*\\) \\(.*CrashingProgram\\.cpp:\\d+\\)"},
        Way{"divide", SIGFPE, "C0000094", "Integer Divide by Zero", "",
            "divideByZero\\(int\\) \\(.*:\\d+\\)"},
        Way{"call", SIGSEGV, "C0000005", "Access Violation", "Access type: Read\nAddress: 0x0\n",
            "callNothing\\(void \\(\\*\\)\\(\\)\\) \\(.*CrashingProgram\\.cpp:\\d+\\)"},
        Way{"illegal", SIGILL, "C000001D", "Illegal Instruction", "", "runIllegalInstruction\\(\\)"},
        Way{"overflow", SIGSEGV, "C00000FD", "Stack Overflow", "", "useUpTheStack\\(int\\)"},
        Way{"thread-overflow", SIGSEGV, "C00000FD", "Stack Overflow", "", "useUpTheStack\\(int\\)"},
        Way{"exception", SIGABRT, "E06D7363", "Unknown",
            "Uncaught exception: std::runtime_error \"nobody catches this\"\n", "throwWithoutCatch\\(\\)"},
        Way{"thread-exception", SIGABRT, "E06D7363", "Unknown",
            "Uncaught exception: std::runtime_error \"nobody catches this\"\n", "throwWithoutCatch\\(\\)"},
        Way{"abort", SIGABRT, "40000015", "Unknown", "Signal: 6\n", "giveUp\\(\\)"},
        Way{"fatal", SIGABRT, "40000015", "Unknown", "Signal: 6\n", "main"},
        // The last frames are those before the one that cannot be found.
        Way{"smashed", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "smashTheStack\\(unsigned long\\)"},
        Way{"end", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "writeWhereNothingIs\\(int\\*\\)"},
        Way{"what", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "writeWhereNothingIs\\(int\\*\\)"},
        Way{"allocator", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "writeWhereNothingIs\\(int\\*\\)"},
        Way{"log", SIGSEGV, "C0000005", "Access Violation", "Access type: Write\nAddress: 0x40\n",
            "writeWhereNothingIs\\(int\\*\\)"}),
    [](const auto& way) { return QString::fromLatin1(way.param.name).remove(u'-').toStdString(); });

class CrashWalk : public Crash
{};

TEST_P(CrashWalk, GoesOnBehindAThreadWhoseStackIsSmashed)
{
    const QString others = m_report.section(QStringLiteral("ALL THREADS"), 1);
    expectMatch(others, QStringLiteral("waitOnASmashedStack(.*\n)*Frame .*waitForEver"));
    EXPECT_FALSE(others.contains(QStringLiteral("(Could not open thread)"))) << others.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Smashed, CrashWalk, testing::Values(Way{"smashed", SIGSEGV, "", "", "", ""}));

class CrashDisk : public Crash
{};

TEST_P(CrashDisk, SaysWhatHasNoRoom)
{
    EXPECT_EQ(m_exitCode, SIGSEGV);
    const QString name = m_path.isEmpty() ? QStringLiteral("(not saved)")
                                          : m_path + QStringLiteral(" (incomplete: disk full)");
    EXPECT_TRUE(m_error.contains(QStringLiteral("\nCrash log saved to:\n%1\n").arg(name)))
        << m_error.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Full, CrashDisk,
                         testing::Values(Way{"full", SIGSEGV, "", "", "", ""},
                                         Way{"almost-full", SIGSEGV, "", "", "", ""}));

TEST(CrashBox, EndsWhereNobodyCouldCloseIt)
{
    QProcess box;
    box.setProcessEnvironment(offscreen());
    box.start(QStringLiteral(VELLUMTIDE_CRASH_REPORT_PROGRAM),
              {QStringLiteral("--box"), QStringLiteral("report"), QStringLiteral("Unknown")});
    EXPECT_TRUE(box.waitForFinished(20'000));
    EXPECT_EQ(QString::fromUtf8(box.readAllStandardError()),
              QStringLiteral("Application crashed!\nCrash log saved to:\nreport\n\nException: Unknown\n"));
}

TEST(CrashProgram, KeepsNothingOfTheOneThatItOutlives)
{
    const QTemporaryDir folder;
    const std::string file = folder.filePath(QStringLiteral("seen")).toStdString();
    const std::string script =
        "p=/proc/$$; ( readlink $p/fd/0 $p/fd/1 $p/fd/2; cut -d' ' -f1,6 $p/stat ) >" + file + "; true";
    const std::array<const char*, 4> program{"/bin/sh", "-c", script.c_str(), nullptr};
    const int child = crash::startProgram(program.data(), crash::Lifetime::Outlives);
    ASSERT_GT(child, 0);
    crash::waitForProgram(child, 20'000);
    QFile seen(QString::fromStdString(file));
    ASSERT_TRUE(seen.open(QIODevice::ReadOnly));
    // Its session is its own.
    EXPECT_EQ(seen.readAll().toStdString(), "/dev/null\n/dev/null\n/dev/null\n" + std::to_string(child) +
                                                ' ' + std::to_string(child) + '\n');
}

TEST(ModuleTable, HoldsCodeWithTheBaseOfItsFile)
{
    // Of a program whose second piece of data lies a page higher than in the file, with others between.
    static crash::ModuleTable table;
    const std::string longPath = '/' + std::string(600, 'x');
    for (const std::string line : {
             "10000-11000 r--p 00000000 08:01 1 /bin/a",
             "11000-12000 r-xp 00001000 08:01 1 /bin/a",
             "12000-13000 rw-p 00000000 00:00 0 ",
             "14000-15000 r-xp 00003000 08:01 1 /bin/a",
             "20000-30000 rw-p 00000000 00:00 0 [heap]",
             "30000-31000 r-xp 00000000 00:01 9 /memfd:jit (deleted)",
             "40000-41000 r--p 00000000 08:01 2 /usr/share/font",
         })
        table.takeLine(line);
    table.takeLine("50000-51000 r--p 00000000 08:01 3 " + longPath);
    table.takeLine("51000-52000 r-xp 00001000 08:01 3 " + longPath);
    const auto baseOf = [](std::uintptr_t address) {
        const crash::ModuleTable::Module* module = table.find(address);
        return module ? module->base : 0;
    };
    EXPECT_EQ(baseOf(0x11800), 0x10000);
    EXPECT_EQ(baseOf(0x12800), 0);
    EXPECT_EQ(baseOf(0x14800), 0x10000);
    EXPECT_EQ(baseOf(0x30800), 0);
    EXPECT_EQ(baseOf(0x40800), 0);
    EXPECT_EQ(baseOf(0x51800), 0x50000);
}

class CrashLog : public Crash
{};

TEST_P(CrashLog, HoldsWhatWasStillQueued)
{
    const QString text = log();
    qsizetype place = 0;
    for (int i = 0; i < 2000 && place >= 0; ++i)
        place = text.indexOf(QStringLiteral("queued line %1\n").arg(i), place);
    EXPECT_GE(place, 0);
}

INSTANTIATE_TEST_SUITE_P(Queued, CrashLog, testing::Values(Way{"log", SIGSEGV, "", "", "", ""}));

} // namespace
} // namespace vt
