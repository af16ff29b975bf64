#include <QtTest>
#include <memory>

#include "settings/settingsfile.h"
#include "support/workingfolder.h"

/// The key table and what happens to a configuration file in every state it can be found in.
class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void everyKeyHasItsDefault_data();
    void everyKeyHasItsDefault();
    void noKeyIsMissing();
    void writeIsOnDiskAtOnce();
    void storeWaits();
    void commasSurvive_data();
    void commasSurvive();
    void utf8IsRead();
    void textInANumberIsZero();
    void removedKeysAreGoneFromDisk();
    void damagedFileIsNeverWritten_data();
    void damagedFileIsNeverWritten();
    void strayLinesAreKeptInACopy();
    void harmlessOddities_data();
    void harmlessOddities();
    void anotherThreadsReading();
    void folderInPlaceOfTheFile();
    void unwritableFolderIsSurvived();
};

void TestSettings::everyKeyHasItsDefault_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("fallback");
    const QVector<QPair<const char*, QVariant>> table{
        {"Camera/CamNum", 4},
        {"Camera/Demo", 0},
        {"Camera/Mode", 1},
        {"Camera/Cam0", QString()},
        {"Camera/Cam1", QString()},
        {"Camera/Cam2", QString()},
        {"Camera/Cam3", QString()},
        {"Camera/Column", 2},
        {"Control/Timeout", 1500},
        {"Control/ExposureScale", 2.0},
        {"File/Port", QString()},
        {"File/Trans", false},
        {"File/Width", 2560},
        {"File/Height", 1440},
        {"File/Title", QStringLiteral("Bivista")},
        {"File/Lang", 2},
        {"File/BarcodeMark", QString()},
        {"File/DTMark", QString()},
        {"File/DTFormat", QStringLiteral("yyyy-MM-dd HH:mm:ss")},
        {"File/Delay", 0},
        {"File/Zoom", 1.0},
        {"File/Path", QStringLiteral(".")},
        {"File/Type", 1},
        {"File/Quality", 75},
        {"File/XCount", QStringLiteral("5,3,5")},
        {"File/YCount", QStringLiteral("2,2,2")},
        {"File/SaveCaptured", true},
        {"File/FreezeImage", false},
        {"File/Color", 0},
        {"Pos/X0", 0.0},
        {"Pos/Y0", 0.0},
        {"Pos/X3", 3.0},
        {"Pos/Y3", 3.0},
    };
    for (const auto& row : table)
        QTest::newRow(row.first) << QString::fromLatin1(row.first) << row.second;
}

void TestSettings::everyKeyHasItsDefault() {
    QFETCH(QString, key);
    QFETCH(QVariant, fallback);
    const auto all = keys::all();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const auto& entry) { return entry.name == key; });
    QVERIFY(found != all.end());
    QCOMPARE(found->fallback.type(), fallback.type());
    QCOMPARE(found->fallback, fallback);
}

void TestSettings::noKeyIsMissing() {
    QStringList names;
    for (const auto& entry : keys::all())
        names.append(entry.name);
    QCOMPARE(names.removeDuplicates(), 0);
    QCOMPARE(names.size(), 25 + 4 * 3);
}

void TestSettings::writeIsOnDiskAtOnce() {
    const WorkingFolder folder;
    SettingsFile settings(QStringLiteral("./setting.ini"));
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(settings.read(keys::kQuality), 33);
}

void TestSettings::storeWaits() {
    const WorkingFolder folder;
    SettingsFile settings(QStringLiteral("./setting.ini"));
    settings.store(keys::tileX(2).name, 640.5);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")).isNull());
    QCOMPARE(settings.read(keys::tileX(2)), 640.5);
    settings.flush();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")), QStringLiteral("640.5"));
}

void TestSettings::commasSurvive_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("expected");
    QTest::newRow("bare") << QByteArray("XCount=5,3,5") << QStringLiteral("5,3,5");
    QTest::newRow("quoted") << QByteArray("XCount=\"5,3,5\"") << QStringLiteral("5,3,5");
    QTest::newRow("empty part") << QByteArray("XCount=5,,5") << QStringLiteral("5,,5");
    QTest::newRow("single") << QByteArray("XCount=7") << QStringLiteral("7");
    QTest::newRow("absent") << QByteArray("Other=7") << QStringLiteral("5,3,5");
}

void TestSettings::commasSurvive() {
    QFETCH(QByteArray, line);
    QFETCH(QString, expected);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\n" + line + "\n"));
    const SettingsFile settings(QStringLiteral("./setting.ini"));
    QCOMPARE(settings.read(keys::kXCount), expected);
}

void TestSettings::utf8IsRead() {
    const WorkingFolder folder;
    const QString title = QString::fromUtf8("检测台 Größe");
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\r\nTitle=" + title.toUtf8() + "\r\n"));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    QCOMPARE(settings.read(keys::kTitle), title);
    settings.write(keys::kLang, 1);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Title")), title);
}

void TestSettings::textInANumberIsZero() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nMode=grid\nCamNum=-1\n"));
    QTest::ignoreMessage(QtWarningMsg, "Camera/Mode is no number; taken as 0");
    const SettingsFile settings(QStringLiteral("./setting.ini"));
    QCOMPARE(settings.read(keys::kMode), 0);
    QCOMPARE(settings.read(keys::kCamNum), -1);
}

void TestSettings::removedKeysAreGoneFromDisk() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nDTMark=a\nBarcodeMark=b\nLang=1\n"));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    settings.removeKeys({keys::kDateTimeMark.name, keys::kBarcodeMark.name});
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isNull());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
}

void TestSettings::damagedFileIsNeverWritten_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("binary") << QByteArray("\x7f\x00\x01[File]\nLang=1\n", 17);
    QTest::newRow("not UTF-8") << QByteArray("[File]\nTitle=\xc4\xe3\xba\xc3\n");
    QTest::newRow("no INI") << QByteArray("<html><body>404</body></html>\n");
    QTest::newRow("words") << QByteArray("to be filled in\n");
}

void TestSettings::damagedFileIsNeverWritten() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
        SettingsFile settings(QStringLiteral("./setting.ini"));
        QVERIFY(!settings.isIntact());
        settings.write(keys::kQuality, 33);
        settings.store(keys::kZoom.name, 0.5);
        settings.removeKeys({keys::kLang.name});
        QCOMPARE(settings.read(keys::kQuality), 75);
    }
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), content);
}

void TestSettings::strayLinesAreKeptInACopy() {
    const WorkingFolder folder;
    const QByteArray content = "stray words\n[File]\nLang=1\nTit";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    QVERIFY(settings.isIntact());
    QCOMPARE(settings.read(keys::kLang), 1);
    QVERIFY(!QFile::exists(QStringLiteral("setting.ini.bak")));  // nothing is lost by reading
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("lines that are no settings")));
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
    // Written, and so not reported as not written (an unexpected warning would fail nothing, so look at the
    // file).
    QVERIFY(!WorkingFolder::read(QStringLiteral("setting.ini")).contains("stray"));
    settings.write(keys::kQuality, 34);  // one copy only: of the file as it was found
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini.bak")), content);
}

void TestSettings::harmlessOddities_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf[File]\r\nLang=1\r\n");
    QTest::newRow("number sign comment") << QByteArray("# made by hand\n[File]\nLang=1\n");
    QTest::newRow("semicolon comment") << QByteArray("; made by hand\n[File]\nLang=1\n");
    QTest::newRow("blank lines") << QByteArray("\n\n  \n[File]\n\nLang=1");
}

void TestSettings::harmlessOddities() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    QCOMPARE(settings.read(keys::kLang), 1);
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
    QVERIFY(!QFile::exists(QStringLiteral("setting.ini.bak")));
}

void TestSettings::anotherThreadsReading() {
    const WorkingFolder folder;
    SettingsFile settings(QStringLiteral("./setting.ini"));
    settings.write(keys::kColor, 1);
    int read = 0;
    const std::unique_ptr<QThread> thread(
        QThread::create([&] { read = readSetting(settings.fileName(), keys::kColor); }));
    thread->start();
    QVERIFY(thread->wait(5000));
    QCOMPARE(read, 1);
}

void TestSettings::folderInPlaceOfTheFile() {
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("setting.ini")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be understood")));
    SettingsFile settings(QStringLiteral("./setting.ini"));
    settings.write(keys::kQuality, 33);
    QCOMPARE(settings.read(keys::kQuality), 75);
    QVERIFY(QFileInfo(QStringLiteral("setting.ini")).isDir());
}

/// Where the folder was there is a file, so nobody can write there, not even root.
void TestSettings::unwritableFolderIsSurvived() {
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

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
