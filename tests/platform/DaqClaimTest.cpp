// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DaqClaim.h"
#include "LogLines.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vt {
namespace {

const QString SerialA = QStringLiteral("01A2B3C4");
const QString SerialB = QStringLiteral("01A2B3C5");

/// A second instance of the program that tries to claim a device.
class Instance
{
public:
    explicit Instance(const QString& serial)
    {
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(QStringLiteral(VELLUMTIDE_CLAIM_HOLDER), {serial});
        while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) {
        }
        outcome = QString::fromLatin1(m_process.readLine()).trimmed();
    }
    ~Instance() { quit(); }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    void quit()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.closeWriteChannel();
        EXPECT_TRUE(m_process.waitForFinished(10000));
    }
    void crash()
    {
        m_process.kill(); // SIGKILL
        EXPECT_TRUE(m_process.waitForFinished(10000));
    }
    [[nodiscard]] qint64 id() const { return m_process.processId(); }

    QString outcome; ///< "claimed" or "refused", and the other holder it saw, -1 for none

private:
    QProcess m_process;
};

class DaqClaimTest : public testing::Test
{
protected:
    DaqClaimTest()
    {
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
        qputenv("TMPDIR", QFile::encodeName(m_temporary.path()));
    }
    ~DaqClaimTest() override
    {
        restore("XDG_RUNTIME_DIR", m_runtimeBefore);
        restore("TMPDIR", m_temporaryBefore);
    }
    [[nodiscard]] QString folder() const { return m_runtime.filePath(QStringLiteral("vellumtide")); }
    [[nodiscard]] QString fallback() const
    {
        return m_temporary.filePath(QStringLiteral("vellumtide-%1").arg(::geteuid()));
    }
    [[nodiscard]] QString fileOf(const QString& serial) const
    {
        return folder() + QStringLiteral("/daq-") + serial + QStringLiteral(".lock");
    }
    static QString claimLine(const QString& rest)
    {
        return QStringLiteral("DaqClaim[ %1 ]::tryClaim - ").arg(QCoreApplication::applicationPid()) + rest;
    }
    static void restore(const char* name, const QByteArray& value)
    {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    static void write(const QString& file, const QByteArray& bytes)
    {
        QFile writer(file);
        EXPECT_TRUE(writer.open(QIODevice::WriteOnly) && writer.write(bytes) == bytes.size());
    }
    static QByteArray read(const QString& file)
    {
        QFile reader(file);
        EXPECT_TRUE(reader.open(QIODevice::ReadOnly));
        return reader.readAll();
    }

    const QByteArray m_runtimeBefore = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray m_temporaryBefore = qgetenv("TMPDIR");
    QTemporaryDir m_runtime;
    QTemporaryDir m_temporary;
    test::LogLines m_log;
};

TEST_F(DaqClaimTest, KeepsADeviceForOneInstanceUntilItEndsOrDies)
{
    DaqClaim claim;
    Instance first(SerialA);
    ASSERT_EQ(first.outcome, QStringLiteral("claimed -1"));
    EXPECT_EQ(claim.otherHolder(SerialA), first.id());
    EXPECT_FALSE(claim.tryClaim(SerialA));
    EXPECT_THAT(m_log.take(), testing::ElementsAre(QStringLiteral("W ") +
                                                   claimLine(QStringLiteral("serial 01A2B3C4 is held by "
                                                                            "another Vellumtide instance"))));
    first.crash();
    EXPECT_EQ(claim.otherHolder(SerialA), std::nullopt);
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_THAT(m_log.take(), testing::ElementsAre(claimLine(
                                  QStringLiteral("claimed serial 01A2B3C4 (abandoned by prior owner)"))));

    const QString ownId = QString::number(QCoreApplication::applicationPid());
    EXPECT_EQ(Instance(SerialA).outcome, QStringLiteral("refused ") + ownId);
    claim.release();
    Instance second(SerialA);
    EXPECT_EQ(second.outcome, QStringLiteral("claimed -1"));
    second.quit();
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_THAT(m_log.take(), testing::ElementsAre(claimLine(QStringLiteral("claimed serial 01A2B3C4"))))
        << "an instance that ended in order abandons nothing";
}

TEST_F(DaqClaimTest, HoldsOneDeviceAtATime)
{
    DaqClaim claim;
    EXPECT_FALSE(claim.tryClaim(QString()));
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_THAT(m_log.take(),
                testing::ElementsAre(claimLine(QStringLiteral("empty serial, not claiming")),
                                     claimLine(QStringLiteral("claimed serial 01A2B3C4")),
                                     claimLine(QStringLiteral("serial 01A2B3C4 already held (no-op)"))));

    // A second object within the process is one more instance, and does no harm to the first.
    DaqClaim other;
    EXPECT_FALSE(other.tryClaim(SerialA));
    EXPECT_EQ(other.otherHolder(SerialA), QCoreApplication::applicationPid());
    EXPECT_EQ(claim.otherHolder(SerialA), std::nullopt);
    EXPECT_EQ(Instance(SerialA).outcome,
              QStringLiteral("refused %1").arg(QCoreApplication::applicationPid()));

    EXPECT_TRUE(other.tryClaim(SerialB));
    EXPECT_FALSE(claim.tryClaim(SerialB));
    EXPECT_EQ(claim.serial(), SerialA) << "a failed switch keeps what is held";
    EXPECT_EQ(other.otherHolder(SerialA), QCoreApplication::applicationPid());
    other.release();
    EXPECT_TRUE(claim.tryClaim(SerialB));
    EXPECT_EQ(claim.serial(), SerialB);
    EXPECT_TRUE(other.tryClaim(SerialA)) << "switching gives up the device before";
    EXPECT_FALSE(m_log.take().join(u'\n').contains(u"abandoned"));
}

TEST_F(DaqClaimTest, JudgesWhatAnEarlierRunLeft)
{
    ASSERT_TRUE(QDir().mkdir(folder()));
    const QByteArray ownId = QByteArray::number(QCoreApplication::applicationPid());
    struct Case
    {
        QByteArray content;
        bool abandoned;
    };
    // Our own id was another process's before: the first process of a container always has the same one.
    for (const Case& each :
         {Case{"", false}, Case{"not a number\n", false}, Case{"999999\n", true}, Case{ownId + '\n', true}}) {
        write(fileOf(SerialA), each.content);
        DaqClaim claim;
        EXPECT_EQ(claim.otherHolder(SerialA), std::nullopt) << each.content.toStdString();
        EXPECT_TRUE(claim.tryClaim(SerialA));
        EXPECT_EQ(m_log.take().join(u'\n').contains(u"(abandoned by prior owner)"), each.abandoned)
            << each.content.toStdString();
        EXPECT_EQ(read(fileOf(SerialA)), ownId + '\n');
    }
    EXPECT_EQ(read(fileOf(SerialA)), QByteArray()) << "a claim given up names nobody";

    DaqClaim claim;
    EXPECT_TRUE(claim.tryClaim(QStringLiteral("../a b/\u00e9")));
    EXPECT_TRUE(QFileInfo::exists(fileOf(QStringLiteral("..%2Fa%20b%2F%C3%A9"))));
}

// What tidies up old temporary files must not take the file away under a recording of many days, and a child
// process must not keep the claim after the program is gone.
TEST_F(DaqClaimTest, ProtectsItsFile)
{
    DaqClaim claim;
    ASSERT_TRUE(claim.tryClaim(SerialA));
    struct stat status = {};
    ASSERT_EQ(::stat(QFile::encodeName(fileOf(SerialA)).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 01600U);
    ASSERT_EQ(::stat(QFile::encodeName(folder()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    int found = 0;
    for (const QFileInfo& each : QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::Files)) {
        if (each.symLinkTarget() != QFileInfo(fileOf(SerialA)).canonicalFilePath())
            continue;
        ++found;
        EXPECT_EQ(::fcntl(each.fileName().toInt(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }
    EXPECT_EQ(found, 1);
}

// From the desktop, by cron, from a login of its own: a program of the same user may have another runtime
// folder, or none, or one that was deleted and made anew while a recording went on.
TEST_F(DaqClaimTest, HoldsAgainstAnInstanceWithAnotherRuntimeFolder)
{
    const QString ownId = QString::number(QCoreApplication::applicationPid());
    DaqClaim claim;
    ASSERT_TRUE(claim.tryClaim(SerialA));
    const QTemporaryDir elsewhere;
    for (const QString& runtime : {elsewhere.path(), m_runtime.path()}) {
        ASSERT_TRUE(QDir(m_runtime.path()).removeRecursively());
        ASSERT_TRUE(QDir().mkdir(m_runtime.path()));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
        EXPECT_EQ(Instance(SerialA).outcome, QStringLiteral("refused ") + ownId) << runtime.toStdString();
    }
    claim.release();
    Instance dying(SerialA);
    ASSERT_EQ(dying.outcome, QStringLiteral("claimed -1"));
    dying.crash();
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(elsewhere.path()));
    write(fallback() + QStringLiteral("/daq-01A2B3C4.lock"), QByteArray());
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_FALSE(m_log.take().last().contains(u"abandoned")) << "nothing left in these two places";
    claim.release();
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
    EXPECT_TRUE(claim.tryClaim(SerialA));
    EXPECT_TRUE(m_log.take().last().contains(u"abandoned")) << "one of the two places names a dead owner";
}

TEST_F(DaqClaimTest, FallsBackToAPrivateFolderAndToNothingElse)
{
    write(folder(), "a file where the folder should be");
    {
        DaqClaim claim;
        EXPECT_TRUE(claim.tryClaim(SerialA));
        EXPECT_TRUE(QFileInfo(fallback() + QStringLiteral("/daq-01A2B3C4.lock")).exists());
        EXPECT_EQ(Instance(SerialA).outcome,
                  QStringLiteral("refused %1").arg(QCoreApplication::applicationPid()));
    }
    ASSERT_EQ(::chmod(QFile::encodeName(fallback()).constData(), 0770), 0);
    DaqClaim claim;
    EXPECT_FALSE(claim.tryClaim(SerialA)) << "others may write there";
    ASSERT_EQ(::chmod(QFile::encodeName(fallback()).constData(), 0700), 0);
    ASSERT_TRUE(QFile::rename(fallback(), m_temporary.filePath(QStringLiteral("real"))));
    ASSERT_TRUE(QFile::link(m_temporary.filePath(QStringLiteral("real")), fallback()));
    (void)m_log.take();
    EXPECT_FALSE(claim.tryClaim(SerialA)) << "a link may lead anywhere";
    EXPECT_THAT(m_log.take(),
                testing::ElementsAre(
                    QStringLiteral("W ") +
                    claimLine(QStringLiteral("open failed for serial 01A2B3C4 error: %1").arg(ENOTDIR))));
}

} // namespace
} // namespace vt
