// SPDX-License-Identifier: Apache-2.0
#include <QDirIterator>
#include <QtTest>

#include "settings/settingsfile.h"
#include "support/workingfolder.h"
#include "support/keptwarnings.h"

namespace {

const QString kFile = QStringLiteral("./setting.ini");

}  // namespace

/// The key table, and a configuration file that is read and written as it should be.
class TestSettings : public QObject {
    Q_OBJECT

private slots:
    void everyKeyHasItsDefault_data();
    void everyKeyHasItsDefault();
    void noKeyIsMissing();
    void peekReadsAsTheObjectDoes_data();
    void peekReadsAsTheObjectDoes();
    void peekOnlyLooks_data();
    void peekOnlyLooks();
    void writeIsOnDiskAtOnce();
    void storeWaits();
    void storedIsWrittenByTheLoop();
    void storedIsWrittenAtTheEnd();
    void textOfTheFile();
    void commasSurvive_data();
    void commasSurvive();
    void utf8IsRead();
    void textInANumberIsZero();
    void whatIsWarnedOfIsWhatIsTaken_data();
    void whatIsWarnedOfIsWhatIsTaken();
    void nothingIsWarnedOfInVain();
    void removedKeysAreGoneFromDisk();

private:
    static QVector<QPair<const char*, QVariant>> expectedKeys();
};

/// Every key with its default; the type is the default's.
QVector<QPair<const char*, QVariant>> TestSettings::expectedKeys() {
    return {
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
        {"File/PortRetry", 0},
        {"File/Trans", false},
        {"File/Smooth", 0},
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
        {"File/Background", 0},
        {"File/XCount", QStringLiteral("5,3,5")},
        {"File/YCount", QStringLiteral("2,2,2")},
        {"File/Measures", 0},
        {"File/SaveCaptured", true},
        {"File/FreezeImage", false},
        {"File/Color", 0},
        {"File/CellWidth", 0.0},
        {"File/CellHeight", 0.0},
        {"File/CellWidthPx", 0.0},
        {"File/CellHeightPx", 0.0},
        {"File/Unit", 1},
        {"View/Measure", 0},
        {"Platform/Hotkey", QStringLiteral("Ctrl+W")},
        {"Pos/X0", 0.0},
        {"Pos/Y0", 0.0},
        {"Pos/X1", 1.0},
        {"Pos/Y1", 1.0},
        {"Pos/X2", 2.0},
        {"Pos/Y2", 2.0},
        {"Pos/X3", 3.0},
        {"Pos/Y3", 3.0},
    };
}

void TestSettings::everyKeyHasItsDefault_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("fallback");
    for (const auto& row : expectedKeys())
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

/// The rows above, the table, and the names in the sources are the same keys; no other source names one.
void TestSettings::noKeyIsMissing() {
    QStringList rows;
    for (const auto& row : expectedKeys())
        rows.append(QString::fromLatin1(row.first));
    QStringList table;
    for (const auto& entry : keys::all())
        table.append(entry.name);
    QStringList named;
    QStringList elsewhere;
    const QRegularExpression literal(
        QStringLiteral("\"((?:Camera|Control|File|Platform|Pos|View)/[A-Za-z0-9%]+)\""));
    QDirIterator source(QStringLiteral(SOURCES), {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                        QDir::Files, QDirIterator::Subdirectories);
    while (source.hasNext()) {
        const QString text = QString::fromUtf8(WorkingFolder::read(source.next()));
        auto match = literal.globalMatch(text);
        while (match.hasNext()) {
            const QString name = match.next().captured(1);
            if (!source.fileName().startsWith(QLatin1String("settingkeys.")))
                elsewhere.append(source.fileName() + QLatin1Char(' ') + name);
            else if (!name.endsWith(QLatin1String("%1")))
                named.append(name);
            else
                for (int tile = 0; tile < 4; ++tile)
                    named.append(name.arg(tile));
        }
    }
    for (QStringList* list : {&rows, &table, &named})
        list->sort();
    named.removeDuplicates();  // the exposure scale has two defaults
    QCOMPARE(table, rows);
    QCOMPARE(table, named);
    QCOMPARE(elsewhere, QStringList());
    QCOMPARE(keys::kExposureScaleOfSelection.name, keys::kExposureScale.name);
    QCOMPARE(keys::kExposureScaleOfSelection.fallback, 1.0);
}

void TestSettings::peekReadsAsTheObjectDoes_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("value");
    const QString absent = keys::kHotkey.fallback;
    QTest::newRow("no file") << QByteArray() << absent;
    QTest::newRow("absent") << QByteArray("[File]\nLang=1\n") << absent;
    QTest::newRow("another section") << QByteArray("[File]\nHotkey=F9\n") << absent;
    QTest::newRow("there") << QByteArray("[File]\nLang=1\n[Platform]\nHotkey=Ctrl+Shift+S\n")
                           << QStringLiteral("Ctrl+Shift+S");
    QTest::newRow("empty") << QByteArray("[Platform]\nHotkey=\n") << QString();
    QTest::newRow("null") << QByteArray("[Platform]\nHotkey=@Invalid()\n") << QString();
    QTest::newRow("commas") << QByteArray("[Platform]\nHotkey=Ctrl+K, Ctrl+S\n")
                            << QStringLiteral("Ctrl+K, Ctrl+S");
    QTest::newRow("backslash") << QByteArray("[Platform]\nHotkey=Ctrl+\\\\\n") << QStringLiteral("Ctrl+\\");
    QTest::newRow("quoted semicolon")
        << QByteArray("[Platform]\nHotkey=\"Ctrl+;\"\n") << QStringLiteral("Ctrl+;");
    QTest::newRow("comma") << QByteArray("[Platform]\nHotkey=Ctrl+,\n") << QStringLiteral("Ctrl+,");
    QTest::newRow("UTF-8") << QByteArray("[Platform]\nHotkey=Ctrl+\xc3\x9c\n")
                           << QString::fromUtf8("Ctrl+\xc3\x9c");
    QTest::newRow("stray lines") << QByteArray("nothing\n[Platform]\nHotkey=F9\n") << QStringLiteral("F9");
}

void TestSettings::peekReadsAsTheObjectDoes() {
    QFETCH(QByteArray, content);
    QFETCH(QString, value);
    const WorkingFolder folder;
    if (!content.isEmpty())
        QVERIFY(WorkingFolder::write(kFile, content));
    QCOMPARE(SettingsFile::peek(kFile, keys::kHotkey), value);
    const SettingsFile settings(kFile);
    QCOMPARE(settings.read(keys::kHotkey), value);
}

void TestSettings::peekOnlyLooks_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("well") << QByteArray("[File]\nLang=1\n");
    QTest::newRow("stray lines") << QByteArray("nothing\n[File]\nLang=1\n[torn");
    QTest::newRow("binary") << QByteArray("\x7f\x00\x01[File]\nLang=1\n", 17);
}

/// Also what the object finds wrong with the file it still finds.
void TestSettings::peekOnlyLooks() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QCOMPARE(SettingsFile::peek(kFile, keys::kLang), 2);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
    QVERIFY(WorkingFolder::write(kFile, content));
    {
        const Warnings warnings;
        SettingsFile::peek(kFile, keys::kLang);
        QCOMPARE(warnings.all(), QStringList());
    }
    QCOMPARE(WorkingFolder::read(kFile), content);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{kFile.mid(2)});
    const Warnings warnings;
    SettingsFile settings(kFile);
    const bool isIntact = settings.isIntact();
    settings.write(keys::kLang, 1);
    QCOMPARE(isIntact, !content.contains('\0'));
    QCOMPARE(WorkingFolder::read(kFile + QStringLiteral(".bak")),
             content.contains("torn") ? content : QByteArray());
}

void TestSettings::writeIsOnDiskAtOnce() {
    const WorkingFolder folder;
    SettingsFile settings(kFile);
    settings.write(keys::kQuality, 33);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Quality")), QStringLiteral("33"));
    QCOMPARE(settings.read(keys::kQuality), 33);
}

void TestSettings::storeWaits() {
    const WorkingFolder folder;
    SettingsFile settings(kFile);
    settings.store(keys::tileX(2), 640.5);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")).isNull());
    QCOMPARE(settings.read(keys::tileX(2)), 640.5);
    settings.flush();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")), QStringLiteral("640.5"));
}

/// Nobody has to write for it: the next turn of the event loop does.
void TestSettings::storedIsWrittenByTheLoop() {
    const WorkingFolder folder;
    SettingsFile settings(kFile);
    settings.store(keys::tileX(2), 640.5);
    settings.store(keys::tileY(2), 2.0);
    QTRY_COMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")), QStringLiteral("640.5"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/Y2")), QStringLiteral("2"));
    // And not only the first time.
    settings.store(keys::tileX(2), 641.0);
    QTRY_COMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")), QStringLiteral("641"));
}

void TestSettings::storedIsWrittenAtTheEnd() {
    const WorkingFolder folder;
    {
        SettingsFile settings(kFile);
        settings.store(keys::tileX(2), 640.5);
    }
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X2")), QStringLiteral("640.5"));
}

/// Others read the file: this is how the values of each type stand in it.
void TestSettings::textOfTheFile() {
    const WorkingFolder folder;
    SettingsFile settings(kFile);
    settings.write(keys::kTrans, true);  // read as a bool, written as a number
    settings.write(keys::kFreezeImage, true);
    settings.write(keys::kSaveCaptured, false);
    settings.store(keys::kExposureScale, 7.0);
    settings.write(keys::kZoom, 0.1875);
    settings.write(keys::kQuality, -3);
    settings.write(keys::kXCount, QStringLiteral("5,3,5"));
    settings.write(keys::kPath, QStringLiteral("C:/out put"));
    settings.write(keys::kTitle, QString::fromUtf8("Größe; \"1\""));
    settings.write(keys::kPort, QString());
    settings.write(keys::tileX(1), 2560.0);
    const QByteArray expected =
        "[Control]\nExposureScale=7\n\n"
        "[File]\nFreezeImage=true\nPath=C:/out put\nPort=\nQuality=-3\n"
        "SaveCaptured=false\nTitle=\"Größe; \\\"1\\\"\"\nTrans=1\n"
        "XCount=\"5,3,5\"\nZoom=0.1875\n\n[Pos]\nX1=2560\n";
    // Sorted, so that the order of the system's own does not count.
    const auto sorted = [](const QByteArray& text) {
        auto lines = QString::fromUtf8(text).remove(QLatin1Char('\r')).split(QLatin1Char('\n'));
        lines.sort();
        return lines;
    };
    QCOMPARE(sorted(WorkingFolder::read(kFile)), sorted(expected));
    settings.write(keys::kTrans, false);
    settings.write(keys::kZoom, 1.0);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("0"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")), QStringLiteral("1"));
    QCOMPARE(settings.read(keys::kTrans), false);
}

void TestSettings::commasSurvive_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("expected");
    QTest::newRow("words") << QByteArray("XCount=Line 3, left") << QStringLiteral("Line 3, left");
    QTest::newRow("words before the comma")
        << QByteArray("XCount =  a ,b,  c ") << QStringLiteral("a ,b,  c");
    QTest::newRow("remark") << QByteArray("XCount=a, b ; c, d") << QStringLiteral("a, b");
    QTest::newRow("at sign") << QByteArray("XCount=@home, left") << QStringLiteral("@home, left");
    QTest::newRow("quoted words") << QByteArray("XCount=\"Line 3, left\"") << QStringLiteral("Line 3, left");
    QTest::newRow("quoted part") << QByteArray("XCount=\"Line 3\", left") << QStringLiteral("Line 3,left");
    QTest::newRow("escapes") << QByteArray("XCount=a\\tb, c") << QStringLiteral("a\tb,c");
    QTest::newRow("twice") << QByteArray("XCount=a, b\nXCount=c, d") << QStringLiteral("c, d");
    QTest::newRow("in other sections too")
        << QByteArray("XCount=a, b\n[Other]\nXCount=a,b") << QStringLiteral("a, b");
    QTest::newRow("not ASCII") << QByteArray("XCount=线 3, 左") << QString::fromUtf8("线 3, 左");
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
    const QByteArray content = "[File]\n" + line + "\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    {
        SettingsFile settings(kFile);
        QCOMPARE(settings.read(keys::kXCount), expected);
        settings.flush();
        QCOMPARE(WorkingFolder::read(kFile), content);  // nobody has changed anything
        settings.write(keys::kQuality, 33);
        QCOMPARE(settings.read(keys::kXCount), expected);
    }
    {
        const SettingsFile settings(kFile);
        QCOMPARE(settings.read(keys::kQuality), 33);
        QCOMPARE(settings.read(keys::kXCount), expected);
    }
    // The next start: nothing of the last one is in memory.
    QVERIFY(QFile::rename(QStringLiteral("setting.ini"), QStringLiteral("next.ini")));
    const SettingsFile next(QStringLiteral("./next.ini"));
    QCOMPARE(next.read(keys::kXCount), expected);
}

void TestSettings::utf8IsRead() {
    const WorkingFolder folder;
    const QString title = QString::fromUtf8("检测台 Größe");
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\r\nTitle=" + title.toUtf8() + "\r\n"));
    SettingsFile settings(kFile);
    QCOMPARE(settings.read(keys::kTitle), title);
    settings.write(keys::kLang, 1);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Title")), title);
}

void TestSettings::textInANumberIsZero() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nMode=grid\nCamNum=-1\n"));
    QTest::ignoreMessage(QtWarningMsg, "Camera/Mode is no number; taken as 0");
    const SettingsFile settings(kFile);
    QCOMPARE(settings.read(keys::kMode), 0);
    QCOMPARE(settings.read(keys::kCamNum), -1);
}

void TestSettings::whatIsWarnedOfIsWhatIsTaken_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("warning");
    QTest::addColumn<double>("value");  // of the int, bool or double
    const auto row = [](const char* line, const char* warning, double value) {
        QTest::newRow(line) << QByteArray(line) << QString::fromLatin1(warning) << value;
    };
    row("CamNum=3", "", 3);
    row("CamNum=-1", "", -1);
    row("CamNum=\"3\"", "", 3);
    row("CamNum=4.0", "Camera/CamNum is no whole number; taken as 0", 0);
    row("CamNum=2147483647", "", 2147483647);
    row("CamNum=4294967300", "Camera/CamNum is out of range; taken as 0", 0);
    row("CamNum=-99999999999999999999", "Camera/CamNum is out of range; taken as 0", 0);
    row("CamNum=four", "Camera/CamNum is no number; taken as 0", 0);
    row("CamNum=4 cameras", "Camera/CamNum is no number; taken as 0", 0);
    row("CamNum=", "Camera/CamNum is no number; taken as 0", 0);
    row("CamNum=3,5", "Camera/CamNum is no number; taken as 0", 0);
    row("CamNum=true", "Camera/CamNum is no number; taken as 0", 0);
    row("Smooth=1", "", 1);
    row("Smooth=bilinear", "File/Smooth is no number; taken as 0", 0);
    row("Smooth=true", "File/Smooth is no number; taken as 0", 0);
    row("Smooth=", "File/Smooth is no number; taken as 0", 0);
    row("Trans=1", "", 1);
    row("Trans=0", "", 0);
    row("Trans=true", "", 1);
    row("Trans=False", "", 0);
    row("Trans=no", "File/Trans is neither true nor false; taken as true", 1);
    row("Trans=", "File/Trans is neither true nor false; taken as false", 0);
    row("X1=2.5", "", 2.5);
    row("X1=1e3", "", 1000);
    row("X1=wide", "Pos/X1 is no number; taken as 0", 0);
    row("X1=2,5", "Pos/X1 is no number; taken as 0", 0);
}

void TestSettings::whatIsWarnedOfIsWhatIsTaken() {
    QFETCH(QByteArray, line);
    QFETCH(QString, warning);
    QFETCH(double, value);
    const WorkingFolder folder;
    const bool isOfFile = line.startsWith("Trans") || line.startsWith("Smooth");
    const QByteArray section = line.startsWith("CamNum") ? "[Camera]\n" : isOfFile ? "[File]\n" : "[Pos]\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), section + line + "\n"));
    const Warnings warnings;
    const SettingsFile settings(kFile);
    QCOMPARE(warnings.all(), warning.isEmpty() ? QStringList() : QStringList{warning});
    if (line.startsWith("CamNum"))
        QCOMPARE(settings.read(keys::kCamNum), int(value));
    else if (line.startsWith("Trans"))
        QCOMPARE(settings.read(keys::kTrans), value != 0.0);
    else if (line.startsWith("Smooth"))
        QCOMPARE(settings.read(keys::kSmooth), int(value));
    else
        QCOMPARE(settings.read(keys::tileX(1)), value);
}

/// A file with every key, each with a value of its type, and text where text belongs.
void TestSettings::nothingIsWarnedOfInVain() {
    const WorkingFolder folder;
    for (const auto& key : expectedKeys()) {
        const bool isText = key.second.type() == QVariant::String;
        WorkingFolder::setKey(QLatin1String(key.first),
                              isText ? QStringLiteral("no number, 4.x") : key.second);
    }
    const Warnings warnings;
    const SettingsFile settings(kFile);
    QCOMPARE(warnings.all(), QStringList());
    QCOMPARE(settings.read(keys::cameraSerial(2)), QStringLiteral("no number, 4.x"));
}

void TestSettings::removedKeysAreGoneFromDisk() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nDTMark=a\nBarcodeMark=b\nLang=1\n"));
    SettingsFile settings(kFile);
    settings.remove(keys::kDateTimeMark, keys::kBarcodeMark);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isNull());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Lang")), QStringLiteral("1"));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
