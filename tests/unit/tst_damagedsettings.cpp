// SPDX-License-Identifier: Apache-2.0
#include <QSignalSpy>
#include <QtTest>
#include <cerrno>

#include "settings/settingsfile.h"
#include "support/fulldisk.h"
#include "support/workingfolder.h"
#include "support/keptwarnings.h"

namespace {

const QString kFile = QStringLiteral("./setting.ini");

}  // namespace

/// What happens to a configuration file that is damaged, or that cannot be written.
class TestDamagedSettings : public QObject {
    Q_OBJECT

private slots:
    void damagedFileIsNeverWritten_data();
    void damagedFileIsNeverWritten();
    void damagedFileServesAsFarAsItCan();
    void strayLinesAreKeptInACopy();
    void tornSectionsAreKeptInACopy_data();
    void tornSectionsAreKeptInACopy();
    void oldCopyIsReplacedByAWholeOne();
    void noCopyNoWriting();
    void fullDiskIsTold_data();
    void fullDiskIsTold();
    void lateRoomIsUsed();
    void lateRoomIsUsedAtTheEnd();
    void lostFolderIsTold();
    void harmlessOddities_data();
    void harmlessOddities();
    void folderInPlaceOfTheFile();
    void unwritableFolderIsSurvived();

private:
    static QVector<QPair<const char*, QVariant>> expectedKeys();
};

void TestDamagedSettings::damagedFileIsNeverWritten_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("binary") << QByteArray("\x7f\x00\x01[File]\nLang=1\n", 17);
    QTest::newRow("not UTF-8") << QByteArray("[File]\nTitle=\xc4\xe3\xba\xc3\n");
    QTest::newRow("no INI") << QByteArray("<html><body>404</body></html>\n");
    QTest::newRow("words") << QByteArray("to be filled in\n");
}

void TestDamagedSettings::damagedFileIsNeverWritten() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
        SettingsFile settings(kFile);
        QVERIFY(!settings.isIntact());
        QCOMPARE(settings.problem(), QStringLiteral("Settings not kept: setting.ini cannot be understood"));
        QSignalSpy changed(&settings, &SettingsFile::problemChanged);
        settings.write(keys::kQuality, 33);
        settings.store(keys::kZoom, 0.5);
        settings.write(keys::kTitle, QStringLiteral("Line 3, left"));
        settings.write(keys::kLang, 1);
        settings.remove(keys::kLang);
        settings.flush();
        QCoreApplication::processEvents();
        QCOMPARE(WorkingFolder::read(kFile), content);
        // The run goes on with what was chosen in it.
        QCOMPARE(settings.read(keys::kQuality), 33);
        QCOMPARE(settings.read(keys::kZoom), 0.5);
        QCOMPARE(settings.read(keys::kTitle), QStringLiteral("Line 3, left"));
        QCOMPARE(settings.read(keys::kLang), 2);
        QCOMPARE(changed.count(), 0);
        settings.store(keys::kQuality, 34);
    }
    QCoreApplication::processEvents();
    QCOMPARE(WorkingFolder::read(kFile), content);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("setting.ini")});
}

void TestDamagedSettings::damagedFileServesAsFarAsItCan() {
    const WorkingFolder folder;
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"),
                             "[Camera]\nCam0=a, b\nCamNum=3\n[File]\nDTMark=x\nTitle=\xc4\xe3\xba\xc3\n"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
    SettingsFile settings(kFile);
    QCOMPARE(settings.read(keys::kCamNum), 3);
    QCOMPARE(settings.read(keys::cameraSerial(0)), QStringLiteral("a, b"));
    QCOMPARE(settings.read(keys::kMode), 1);
    settings.remove(keys::kDateTimeMark, keys::kCamNum);
    QCOMPARE(settings.read(keys::kDateTimeMark), QString());
    QCOMPARE(settings.read(keys::kCamNum), 4);
}

void TestDamagedSettings::strayLinesAreKeptInACopy() {
    const WorkingFolder folder;
    const QByteArray content = "stray words\n[File]\nLang=1\nTit";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    // The copy is nobody's to read who could not read the file.
    QVERIFY(QFile::setPermissions(kFile, QFile::ReadOwner | QFile::WriteOwner));
    const auto permissions = QFile::permissions(kFile);
    SettingsFile settings(kFile);
    QVERIFY(settings.isIntact());
    QCOMPARE(settings.read(keys::kLang), 1);
    QVERIFY(!QFile::exists(QStringLiteral("setting.ini.bak")));  // nothing is lost by reading
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("lines that are no settings")));
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
    QCOMPARE(QFile::permissions(QStringLiteral("setting.ini.bak")), permissions);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
    // Written, and so not reported as not written (an unexpected warning would fail nothing, so look at the
    // file).
    QVERIFY(!WorkingFolder::read(QStringLiteral("setting.ini")).contains("stray"));
    settings.write(keys::kQuality, 34);  // one copy only: of the file as it was found
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
}

void TestDamagedSettings::tornSectionsAreKeptInACopy_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("goes on in the next line") << QByteArray("[Pos\\\nX1=9\n[File]\nLang=1\n[Pos]\nX0=5\n");
    QTest::newRow("without an end") << QByteArray("[File]\nLang=1\n[Pos\nX0=5\n");
    QTest::newRow("cut off") << QByteArray("[File]\nLang=1\n[Po");
}

/// What QSettings reads of them, and what it writes, is not what stands there.
void TestDamagedSettings::tornSectionsAreKeptInACopy() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    const Warnings noise;
    SettingsFile settings(kFile);
    QVERIFY(settings.isIntact());
    QCOMPARE(settings.read(keys::kLang), 1);
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
}

/// A disk that is full when the copy is made keeps the copy of before, and the file as it is.
void TestDamagedSettings::oldCopyIsReplacedByAWholeOne() {
#ifdef HAS_FULL_DISK
    const WorkingFolder folder;
    const QByteArray content = "stray words\n[File]\nLang=1\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini.bak"), "older"));
    SettingsFile settings(kFile);
    QSignalSpy changed(&settings, &SettingsFile::problemChanged);
    {
        const Warnings noise;
        const FullDisk full(10);
        settings.write(keys::kQuality, 33);
    }
    QCOMPARE(changed.count(), 1);
    QVERIFY(settings.problem().startsWith(QLatin1String("Settings not written: setting.ini.bak")));
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), QByteArray("older"));
    QCOMPARE(WorkingFolder::read(kFile), content);
    QCOMPARE(settings.read(keys::kQuality), 33);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("lines that are no settings")));
    settings.write(keys::kDelay, 9);
    QCOMPARE(settings.problem(), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Delay")), QStringLiteral("9"));
#else
    QSKIP("no limit to make a full disk of");
#endif
}

void TestDamagedSettings::noCopyNoWriting() {
    const WorkingFolder folder;
    const QByteArray content = "stray words\n[File]\nLang=1\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    QVERIFY(QDir().mkpath(QStringLiteral("setting.ini.bak/in the way")));
    {
        const Warnings noise;
        SettingsFile settings(kFile);
        settings.write(keys::kQuality, 33);
        QCOMPARE(settings.read(keys::kQuality), 33);
        QVERIFY(settings.isIntact());
        QVERIFY(!settings.problem().isEmpty());
    }
    QCoreApplication::processEvents();
    QCOMPARE(WorkingFolder::read(kFile), content);
}

void TestDamagedSettings::fullDiskIsTold_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("atOnce");
    QTest::newRow("written") << QByteArray("[File]\nLang=1\n") << true;
    QTest::newRow("stored") << QByteArray("[File]\nLang=1\n") << false;
    // Here QSettings has another complaint on record since it read the file.
    QTest::newRow("remark in the file") << QByteArray("[File]\n# by hand\nLang=1\n") << true;
}

void TestDamagedSettings::fullDiskIsTold() {
#ifdef HAS_FULL_DISK
    QFETCH(QByteArray, content);
    QFETCH(bool, atOnce);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    SettingsFile settings(kFile);
    QCOMPARE(settings.problem(), QString());
    QSignalSpy changed(&settings, &SettingsFile::problemChanged);
    const QString reason = qt_error_string(EFBIG);
    const QString problem = QStringLiteral("Settings not written: ") + reason;
    for (int quality = 30; quality < 33; ++quality) {  // again and again, and fine between
        changed.clear();
        QStringList warnings;
        {
            const Warnings log;
            const FullDisk full(4);
            atOnce ? settings.write(keys::kQuality, quality) : settings.store(keys::kQuality, quality);
            QVERIFY(QTest::qWaitFor([&] { return !changed.isEmpty(); }));
            settings.write(keys::kDelay, quality);  // said once
            warnings = log.all();
        }
        QCOMPARE(warnings,
                 QStringList{settings.fileName() + QStringLiteral(" cannot be written: ") + reason});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().toString(), problem);
        QCOMPARE(settings.problem(), problem);
        QCOMPARE(settings.read(keys::kQuality), quality);
        QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")) != QString::number(quality));
        settings.write(keys::kLang, 2);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(settings.problem(), QString());
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QString::number(quality));
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Delay")), QString::number(quality));
    }
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("setting.ini")});
#else
    QSKIP("no limit to make a full disk of");
#endif
}

/// Nobody has to change a setting again for those that a full disk refused.
void TestDamagedSettings::lateRoomIsUsed() {
#ifdef HAS_FULL_DISK
    const WorkingFolder folder;
    SettingsFile settings(kFile);
    settings.write(keys::kLang, 1);
    QSignalSpy changed(&settings, &SettingsFile::problemChanged);
    {
        const FullDisk full(4);
        settings.write(keys::kQuality, 33);
        QVERIFY(!settings.problem().isEmpty());
    }
    QTRY_COMPARE_WITH_TIMEOUT(settings.problem(), QString(), 20000);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(changed.count(), 2);
#else
    QSKIP("no limit to make a full disk of");
#endif
}

void TestDamagedSettings::lateRoomIsUsedAtTheEnd() {
#ifdef HAS_FULL_DISK
    const WorkingFolder folder;
    {
        SettingsFile settings(kFile);
        settings.write(keys::kLang, 1);
        const FullDisk full(4);
        settings.write(keys::kQuality, 33);
        settings.remove(keys::kLang);
        QVERIFY(!settings.problem().isEmpty());
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
    }  // the disk has room again a moment before the settings go
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")).isNull());
#else
    QSKIP("no limit to make a full disk of");
#endif
}

void TestDamagedSettings::lostFolderIsTold() {
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("gone")));
    SettingsFile settings(QStringLiteral("./gone/setting.ini"));
    settings.write(keys::kQuality, 33);
    QCOMPARE(settings.problem(), QString());
    QVERIFY(QDir(QStringLiteral("gone")).removeRecursively());
    QVERIFY(WorkingFolder::write(QStringLiteral("gone"), "a file"));
    {
        const Warnings noise;
        settings.write(keys::kQuality, 34);
    }
    QVERIFY(settings.problem().startsWith(QLatin1String("Settings not written: ")));
    QCOMPARE(settings.read(keys::kQuality), 34);
    QVERIFY(QFile::remove(QStringLiteral("gone")));  // the folder is made anew
    settings.write(keys::kQuality, 35);
    QCOMPARE(settings.problem(), QString());
    QVERIFY(WorkingFolder::read(QStringLiteral("gone/setting.ini")).contains("Quality=35"));
}

void TestDamagedSettings::harmlessOddities_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf[File]\r\nLang=1\r\n");
    QTest::newRow("number sign comment") << QByteArray("# made by hand\n[File]\nLang=1\n");
    QTest::newRow("semicolon comment") << QByteArray("; made by hand\n[File]\nLang=1\n");
    QTest::newRow("blank lines") << QByteArray("\n\n  \n[File]\n\nLang=1");
}

void TestDamagedSettings::harmlessOddities() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    SettingsFile settings(kFile);
    QCOMPARE(settings.read(keys::kLang), 1);
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
    QVERIFY(!QFile::exists(QStringLiteral("setting.ini.bak")));
}

void TestDamagedSettings::folderInPlaceOfTheFile() {
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("setting.ini")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
    SettingsFile settings(kFile);
    settings.write(keys::kQuality, 33);
    QCOMPARE(settings.read(keys::kQuality), 33);
    QVERIFY(QFileInfo(QStringLiteral("setting.ini")).isDir());
}

/// Where the folder was there is a file, so nobody can write there, not even root.
void TestDamagedSettings::unwritableFolderIsSurvived() {
    const WorkingFolder folder;
    const QString name = QStringLiteral("./lost/setting.ini");
    QVERIFY(QDir().mkdir(QStringLiteral("lost")));
    SettingsFile settings(name);
    settings.write(keys::kQuality, 33);
    QCOMPARE(QSettings(name, QSettings::IniFormat).value(QStringLiteral("File/Quality")).toInt(), 33);
    QVERIFY(QDir(QStringLiteral("lost")).removeRecursively());
    QVERIFY(WorkingFolder::write(QStringLiteral("lost"), "in the way"));

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("setting\\.ini cannot be written")));
    settings.write(keys::kQuality, 34);
    QCOMPARE(settings.read(keys::kQuality), 34);  // for this run
    QCOMPARE(WorkingFolder::read(QStringLiteral("lost")), QByteArray("in the way"));

    // As soon as it can be, it is.
    QVERIFY(QFile::remove(QStringLiteral("lost")));
    QVERIFY(QDir().mkdir(QStringLiteral("lost")));
    settings.write(keys::kQuality, 35);
    QVERIFY(WorkingFolder::read(name).contains("Quality=35"));
}

QTEST_GUILESS_MAIN(TestDamagedSettings)
#include "tst_damagedsettings.moc"
