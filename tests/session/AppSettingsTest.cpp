// SPDX-License-Identifier: GPL-3.0-or-later
// The program's memory between runs, on files of this test: never on the stores of whoever runs it.
#include "session/AppSettings.h"
#include "hardware/DiskThread.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <future>
#include <gtest/gtest.h>
#include <memory>

using namespace vt;
using AppSettings::OpenRecording;
using namespace Qt::StringLiterals;

namespace {

QStringList& messages()
{
    static QStringList lines;
    return lines;
}

void keepMessage(QtMsgType, const QMessageLogContext&, const QString& text)
{
    messages() << text;
}

class AppSettingsTest : public testing::Test
{
protected:
    AppSettingsTest() : m_before(qInstallMessageHandler(keepMessage))
    {
        messages().clear();
        AppSettings::useFiles(m_current, m_legacy);
    }
    ~AppSettingsTest() override
    {
        AppSettings::useFiles({}, {});
        qInstallMessageHandler(m_before);
    }
    static void write(const QString& file, const QString& key, const QVariant& value)
    {
        QSettings store(file, QSettings::IniFormat);
        store.setValue(key, value);
    }
    static QStringList keys(const QString& file) { return QSettings(file, QSettings::IniFormat).allKeys(); }

    QTemporaryDir m_folder;
    QString m_current = m_folder.filePath(u"current.ini"_s);
    QString m_legacy = m_folder.filePath(u"legacy.ini"_s);
    QtMessageHandler m_before;
};

} // namespace

TEST_F(AppSettingsTest, DefaultsAndTheKeysThatOtherVersionsRead)
{
    EXPECT_FALSE(AppSettings::autoResumeOnDaqDisconnect());
    EXPECT_TRUE(AppSettings::showLidWarning());
    EXPECT_EQ(AppSettings::saveFileName() + AppSettings::lastConfigDir() + AppSettings::lastAnimalIdDir(),
              QString());
    EXPECT_EQ(AppSettings::temperatureUnit() + AppSettings::pressureUnit(), QString());
    EXPECT_EQ(AppSettings::environmentHours(), 0);
    EXPECT_TRUE(AppSettings::openRecordings().empty());
    AppSettings::setSaveFileName(u"/data/a"_s);
    AppSettings::setAutoResumeOnDaqDisconnect(true);
    AppSettings::setGeometry("shape");
    AppSettings::setLastConfigDir(u"/configs"_s);
    AppSettings::setLastAnimalIdDir(u"/ids"_s);
    AppSettings::setEnvironmentUnits(u"F"_s, u"mmHg"_s);
    AppSettings::setEnvironmentHours(6);
    AppSettings::setShowLidWarning(false);
    AppSettings::noteOpenRecording({u"/data/b"_s, u"one"_s});
    AppSettings::noteOpenRecording({u"/data/c"_s, u"other"_s});

    QFile file(m_current); // on the disk at once: the program may die in the next moment
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    for (const char* line :
         {"saveFileName=/data/a\n", "autoResumeOnDaqDisconnect=true\n",
          "geometry=", "[SetupDialog]\nlastConfigDir=/configs\n", "[ChannelConfig]\nlastAnimalIDDir=/ids\n",
          "[Environment]\nhours=6\npressureUnit=mmHg\ntemperatureUnit=F\n",
          "[PowerWarnings]\nshowLidWarning=false\n",
          // The keys are what `printf /data/b | sha1sum` says.
          "30f5700c74d6b0715ec416bd90de7aedc7bdbc28=/data/b\n",
          "b409cb74f575b22d594dd4f4b3e1201ab51926a7=/data/c\n",
          "writers\\30f5700c74d6b0715ec416bd90de7aedc7bdbc28=one\n"})
        EXPECT_TRUE(text.contains(line)) << line << text.constData();
    AppSettings::forgetOpenRecording(u"/data/b"_s);
    EXPECT_EQ(AppSettings::openRecordings(), (std::vector{OpenRecording{u"/data/c"_s, u"other"_s}}));
    EXPECT_EQ(keys(m_current).filter(u"30f5700"_s), QStringList());
    EXPECT_EQ(messages(), QStringList());
}

TEST_F(AppSettingsTest, TheOldStoreIsTakenOverButForWhatTheNewOneHolds)
{
    AppSettings::migrateLegacySettings();
    EXPECT_EQ(messages(), QStringList()) << "nothing to take over, nothing to say";
    write(m_legacy, u"saveFileName"_s, u"/old/name"_s);
    write(m_legacy, u"PowerWarnings/showLidWarning"_s, false);
    write(m_legacy, u"unheardOf/key"_s, 5);
    write(m_current, u"saveFileName"_s, u"/new/name"_s);
    AppSettings::migrateLegacySettings();
    EXPECT_EQ(AppSettings::saveFileName(), u"/new/name"_s);
    EXPECT_FALSE(AppSettings::showLidWarning());
    EXPECT_EQ(QSettings(m_current, QSettings::IniFormat).value(u"unheardOf/key"_s).toInt(), 5);
    EXPECT_EQ(keys(m_legacy), QStringList());
    EXPECT_EQ(messages(),
              QStringList{u"Settings migration: copied 2 of 3 keys into %1 and removed the legacy "
                          "store"_s.arg(m_current)});
    AppSettings::migrateLegacySettings();
    EXPECT_EQ(messages().size(), 1) << "once";
}

TEST_F(AppSettingsTest, AnOldStoreStaysWhereItsKeysCannotBeStored)
{
    // A file in place of the folder: not even an administrator can write there.
    write(m_folder.filePath(u"file"_s), u"a"_s, 1);
    AppSettings::useFiles(m_folder.filePath(u"file/current.ini"_s), m_legacy);
    write(m_legacy, u"saveFileName"_s, u"/old/name"_s);
    AppSettings::migrateLegacySettings();
    EXPECT_EQ(keys(m_legacy), QStringList{u"saveFileName"_s});
    EXPECT_FALSE(messages().join(u'\n').contains(u"Settings migration"_s));
}

TEST_F(AppSettingsTest, AStoreThatCannotBeWrittenIsToldOnce)
{
    write(m_folder.filePath(u"file"_s), u"a"_s, 1);
    const QString unwritable = m_folder.filePath(u"file/current.ini"_s);
    AppSettings::useFiles(unwritable, m_legacy);
    AppSettings::setSaveFileName(u"/data/a"_s);
    AppSettings::setLastConfigDir(u"/configs"_s);
    AppSettings::setGeometry("shape");
    AppSettings::noteOpenRecording({u"/data/b"_s, {}});
    ASSERT_EQ(messages().size(), 1) << qPrintable(messages().join(u'\n'));
    EXPECT_TRUE(messages()[0].contains(unwritable));
}

// What could not be read of it was taken for never stored, and gone with the next change.
TEST_F(AppSettingsTest, ADamagedFileIsKeptBesideItselfBeforeItIsWritten)
{
    AppSettings::setSaveFileName(u"/data/a"_s);
    EXPECT_TRUE(AppSettings::keepDamagedFiles().empty());
    const auto damageBy = [this](const QByteArray& text) {
        QFile file(m_current);
        EXPECT_TRUE(file.open(QIODevice::Append));
        file.write(text);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner); // it may hold a password
        file.close();
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    };
    const auto keptIn = [this](const QString& copy) { return std::vector{DamagedSettings{m_current, copy}}; };
    const auto contents = [](const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
        return file.readAll();
    };
    const QByteArray first = damageBy("[CameraSettings]\npassw"); // as of a write that was cut off
    const QString copy = m_current + u".damaged"_s;
    EXPECT_EQ(AppSettings::keepDamagedFiles(), keptIn(copy));
    ASSERT_TRUE(QFile::remove(m_current) && QFile::copy(copy, m_current));
    QFile restored(m_current); // the next start finds it as it was, and reads it: this one knows its time
    ASSERT_TRUE(restored.open(QIODevice::ReadWrite));
    ASSERT_TRUE(restored.setFileTime(QDateTime::currentDateTime().addSecs(2), QFile::FileModificationTime));
    restored.close();
    EXPECT_EQ(AppSettings::keepDamagedFiles(), keptIn(copy)) << "one copy is enough";
    EXPECT_EQ(AppSettings::saveFileName(), u"/data/a"_s);
    AppSettings::setLastConfigDir(u"/configs"_s);
    EXPECT_EQ(contents(copy), first);
    EXPECT_EQ(QFile::permissions(copy) & (QFile::ReadGroup | QFile::ReadOther), 0);
    EXPECT_TRUE(AppSettings::keepDamagedFiles().empty()) << "it has been written anew";

    const QByteArray second = damageBy(QByteArray(4096, '\0')); // as a disk without power leaves it
    EXPECT_EQ(AppSettings::keepDamagedFiles(), keptIn(copy + u'2'));
    EXPECT_EQ(contents(copy), first);
    EXPECT_EQ(contents(copy + u'2'), second);
    EXPECT_EQ(messages().size(), 3);
    EXPECT_TRUE(messages().back().contains(m_current) && messages().back().contains(copy + u'2'));

    (void)damageBy("[CameraSett"); // cut off in a title
    EXPECT_EQ(AppSettings::keepDamagedFiles(), keptIn(copy + u'3'));
}

TEST_F(AppSettingsTest, ClearingLeavesDefaultsAndSaysSo)
{
    AppSettings::setAutoResumeOnDaqDisconnect(true);
    AppSettings::setLastConfigDir(u"/configs"_s);
    AppSettings::noteOpenRecording({u"/data/a"_s, {}}); // may be another instance's
    AppSettings::clearAll();
    EXPECT_EQ(keys(m_current).size(), 1);
    EXPECT_EQ(AppSettings::openRecordings(), (std::vector{OpenRecording{u"/data/a"_s, {}}}));
    EXPECT_FALSE(AppSettings::autoResumeOnDaqDisconnect());
    EXPECT_EQ(messages(), (QStringList{u"============================================================"_s,
                                       u"DEBUG: Clearing all application settings (OOB test mode)"_s,
                                       u"All settings cleared. Application will start with defaults."_s}));
}

TEST_F(AppSettingsTest, AChangeBehindADiskThatHangsHoldsNobodyAndIsKept)
{
    std::promise<void> diskAnswers;
    {
        DiskThread settings(u"settings"_s, 60000);
        settings.post([answer = diskAnswers.get_future().share()] { answer.wait(); });
        settings.post([] { AppSettings::setSaveFileName(u"/data/night"_s); });
        EXPECT_EQ(AppSettings::saveFileName(), QString()) << "nobody waited for it";
        diskAnswers.set_value();
    }
    EXPECT_EQ(AppSettings::saveFileName(), u"/data/night"_s);
}
