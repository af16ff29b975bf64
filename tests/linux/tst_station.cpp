// SPDX-License-Identifier: Apache-2.0
// bivista-station as it is installed. In the program's place is one that writes down how it was started.

#include <QtTest>

#include <unistd.h>

#include "linux/installed.h"

namespace {

const QStringList kCameras{QStringLiteral("simulator"), QStringLiteral("genicam"), QStringLiteral("maker")};

}  // namespace

class TestStation : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void makesAFolderReady_data();
    void makesAFolderReady();
    void leavesWhatIsThere();
    void completesWhatIsHalfMade();
    void homeFolderAndNoCameras();
    void camerasThatTheFolderWasMadeFor();
    void otherCamerasFolderIsRefused_data();
    void otherCamerasFolderIsRefused();
    void folderOfAnOlderVersion_data();
    void folderOfAnOlderVersion();
    void camerasThatAreNone();
    void makersLibrary();
    void libraryThatIsNotThere();
    void operatorsLanguage_data();
    void operatorsLanguage();
    void chineseTexts();
    void optionsAreHandedOn();
    void oddFolders();
    void folderThatCannotBe();
    void linkThatLeadsNowhere();
    void folderThatMayNotBeWritten();
    void senseless_data();
    void senseless();

private:
    Ended run(const QStringList& arguments, const QMap<QString, QString>& variables = {});
    QStringList started() const;
    QByteArray read(const QString& name) const;
    QByteArray example(const QString& name) const { return installed.read("share/bivista/example/" + name); }
    QString makersFile() const { return installed.libraries() + "/maker/libKVCap2.so"; }

    Installed installed;
    std::unique_ptr<QTemporaryDir> place;  // where it is started
};

void TestStation::initTestCase() {
    const QString problem = installed.install();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    const QString program = installed.path("bin/bivista");
    QFile file(program);
    QVERIFY(file.remove() && file.open(QIODevice::WriteOnly));
    // The library path, then the arguments, each ended by a NUL.
    file.write("#!/bin/sh\nprintf '%s\\0' \"$LD_LIBRARY_PATH\" \"$@\" >\"$STARTED\"\nexit 7\n");
    QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void TestStation::init() {
    place = std::make_unique<QTemporaryDir>();
    QFile::remove(makersFile());
}

Ended TestStation::run(const QStringList& arguments, const QMap<QString, QString>& variables) {
    QFile::remove(place->filePath("started"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"LD_LIBRARY_PATH", "LANG", "LC_MESSAGES", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(name);
    environment.insert("LC_ALL", "C.UTF-8");
    environment.insert("HOME", place->filePath("home"));
    environment.insert("STARTED", place->filePath("started"));
    for (auto i = variables.begin(); i != variables.end(); ++i)
        environment.insert(i.key(), i.value());
    return runToEnd(installed.path("bin/bivista-station"), arguments, place->path(), environment);
}

/// How the program was started: library path and arguments. Empty when it was not.
QStringList TestStation::started() const {
    const QByteArray said = read("started");
    QStringList words = QString::fromUtf8(said.constData(), said.size()).split(QChar::Null);
    words.removeLast();
    return words;
}

QByteArray TestStation::read(const QString& name) const {
    QFile file(place->filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestStation::makesAFolderReady_data() {
    QTest::addColumn<QStringList>("files");
    QTest::newRow("simulator") << QStringList{"cameras.txt", "kvcap2.ini", "lang", "mark0.txt",
                                              "setting.ini"};
    if (HAS_GENICAM)
        QTest::newRow("genicam") << QStringList{"cameras.txt", "kvcap2-genicam.ini", "lang", "setting.ini"};
    QTest::newRow("maker") << QStringList{"cameras.txt", "lang", "setting.ini"};
}

void TestStation::makesAFolderReady() {
    QFETCH(QStringList, files);
    const QString cameras = QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so", makersFile()));
    const QString folder = QStringLiteral("shops/Linie 1 \"工位\" $HOME `x`");
    const Ended ended = run({"--cameras", cameras, folder});
    QVERIFY2(ended.errors.isEmpty(), ended.errors);
    QCOMPARE(ended.code, 7);  // the program's own
    QCOMPARE(QDir(place->filePath(folder)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             files);
    for (const QString& file : qAsConst(files))
        if (file != "lang" && file != "cameras.txt")
            QCOMPARE(read(folder + '/' + file), example(cameras + '/' + file));
    QCOMPARE(read(folder + "/cameras.txt"), cameras.toLatin1() + '\n');
    QVERIFY(!read(folder + "/lang/tilecam_zh_CN.qm").isEmpty());
    QCOMPARE(started(), (QStringList{installed.libraries() + '/' + cameras, "--folder",
                                     QFileInfo(place->path()).canonicalFilePath() + '/' + folder}));
}

void TestStation::leavesWhatIsThere() {
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    for (const auto& name : {QStringLiteral("s/setting.ini"), QStringLiteral("s/kvcap2.ini")}) {
        QFile file(place->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine") == 4);
    }
    QVERIFY(QFile::remove(place->filePath("s/mark0.txt")));
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    QCOMPARE(read("s/setting.ini"), QByteArray("mine"));
    QCOMPARE(read("s/kvcap2.ini"), QByteArray("mine"));
    QVERIFY(!QFile::exists(place->filePath("s/mark0.txt")));
}

/// Files of the operator's in a folder without settings stay, too.
void TestStation::completesWhatIsHalfMade() {
    QVERIFY(QDir(place->path()).mkdir("s"));
    QFile file(place->filePath("s/mark0.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine") == 4);
    file.close();
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    QCOMPARE(read("s/mark0.txt"), QByteArray("mine"));
    QCOMPARE(read("s/kvcap2.ini"), example("simulator/kvcap2.ini"));
    QCOMPARE(read("s/setting.ini"), example("simulator/setting.ini"));
}

/// What the start menu's entry does: the best library that is there, and a folder of its name.
void TestStation::homeFolderAndNoCameras() {
    const QString home = place->filePath("home") + "/Bivista/";
    QCOMPARE(run({}).code, 7);
    const QString expected = HAS_GENICAM ? "genicam" : "simulator";
    QCOMPARE(started(), (QStringList{installed.libraries() + '/' + expected, "--folder", home + expected}));
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so", makersFile()));
    QCOMPARE(run({}).code, 7);
    QCOMPARE(started(), (QStringList{installed.libraries() + "/maker", "--folder", home + "maker"}));
    QCOMPARE(run({"--cameras=simulator"}).code, 7);
    QCOMPARE(started(), (QStringList{installed.libraries() + "/simulator", "--folder", home + "simulator"}));
    QCOMPARE(run({}, {{"HOME", ""}}).code, 4);
}

void TestStation::camerasThatTheFolderWasMadeFor() {
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so", makersFile()));
    for (const auto& cameras : kCameras) {
        if (cameras == "genicam" && !HAS_GENICAM)
            continue;
        QCOMPARE(run({"--cameras", cameras, cameras}).code, 7);
        QCOMPARE(run({cameras}).code, 7);
        QCOMPARE(started().value(0), installed.libraries() + '/' + cameras);
    }
    // Its library gone, the folder is still the maker's, and not that of the next best.
    QVERIFY(QFile::remove(makersFile()));
    QCOMPARE(run({"maker"}).code, 5);
    QVERIFY(started().isEmpty());
}

void TestStation::otherCamerasFolderIsRefused_data() {
    QTest::addColumn<QString>("made");
    QTest::addColumn<QString>("wanted");
    for (const auto& made : kCameras) {
        for (const auto& wanted : kCameras) {
            if (made != wanted)
                QTest::addRow("%s, then %s", qPrintable(made), qPrintable(wanted)) << made << wanted;
        }
    }
}

void TestStation::otherCamerasFolderIsRefused() {
    QFETCH(QString, made);
    QFETCH(QString, wanted);
    if (made == "genicam" && !HAS_GENICAM)
        QSKIP("The library for GenICam cameras was not built");
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so", makersFile()));
    QCOMPARE(run({"--cameras", made, "s"}).code, 7);
    const QByteArray before = read("s/setting.ini");
    const QStringList files = QDir(place->filePath("s")).entryList(QDir::AllEntries | QDir::Hidden);
    const Ended ended = run({"--cameras", wanted, "s"});
    QCOMPARE(ended.code, 2);
    QVERIFY2(ended.errors.contains(QString("is a folder for --cameras " + made).toLatin1()), ended.errors);
    QVERIFY(started().isEmpty());
    QCOMPARE(read("s/setting.ini"), before);
    QCOMPARE(read("s/cameras.txt"), made.toLatin1() + '\n');
    QCOMPARE(QDir(place->filePath("s")).entryList(QDir::AllEntries | QDir::Hidden), files);
}

void TestStation::folderOfAnOlderVersion_data() {
    QTest::addColumn<QString>("file");  // what tells
    QTest::addColumn<QString>("made");  // what it tells of, empty: nothing
    QTest::newRow("simulator") << "kvcap2.ini"
                               << "simulator";
    if (HAS_GENICAM)
        QTest::newRow("genicam") << "kvcap2-genicam.ini"
                                 << "genicam";
    QTest::newRow("maker or anything") << QString() << QString();
}

/// Without cameras.txt, which it does not get either: it is left as it is.
void TestStation::folderOfAnOlderVersion() {
    QFETCH(QString, file);
    QFETCH(QString, made);
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so", makersFile()));
    QVERIFY(QDir(place->path()).mkdir("s"));
    for (const QString& name : {QStringLiteral("setting.ini"), file}) {
        QFile empty(place->filePath("s/" + name));
        QVERIFY(name.isEmpty() || empty.open(QIODevice::WriteOnly));
    }
    for (const auto& wanted : kCameras) {
        if (wanted == "genicam" && !HAS_GENICAM)
            continue;
        QCOMPARE(run({"--cameras", wanted, "s"}).code, made.isEmpty() || made == wanted ? 7 : 2);
        QCOMPARE(started().isEmpty(), !made.isEmpty() && made != wanted);
    }
    QCOMPARE(run({"s"}).code, 7);
    QCOMPARE(started().value(0), installed.libraries() + '/' + (made.isEmpty() ? "maker" : made));
    QVERIFY(!QFile::exists(place->filePath("s/cameras.txt")));
}

/// Whoever edits it, with whatever program.
void TestStation::camerasThatAreNone() {
    QVERIFY(QDir(place->path()).mkdir("s"));
    for (const char* text : {"film\n", "", "simulator genicam\n"}) {
        QFile file(place->filePath("s/cameras.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        const Ended ended = run({"s"});
        QCOMPARE(ended.code, 2);
        QVERIFY2(ended.errors.contains("cameras.txt has to say"), ended.errors);
        QVERIFY(started().isEmpty());
    }
    QFile file(place->filePath("s/cameras.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(" simulator\r\n") > 0);
    file.close();
    QCOMPARE(run({"s"}).code, 7);
    QCOMPARE(started().value(0), installed.libraries() + "/simulator");
}

void TestStation::makersLibrary() {
    // By the library path, behind a folder that has none.
    QVERIFY(QDir(place->path()).mkpath("opt/cameras/lib"));
    QVERIFY(QFile::copy(installed.libraries() + "/simulator/libKVCap2.so",
                        place->filePath("opt/cameras/lib/libKVCap2.so")));
    const QString path = "/nowhere:" + place->filePath("opt/cameras/lib");
    QCOMPARE(run({"--cameras", "maker", "s"}, {{"LD_LIBRARY_PATH", path}}).code, 7);
    QCOMPARE(started().value(0), installed.libraries() + "/maker:" + path);
}

void TestStation::libraryThatIsNotThere() {
    const Ended ended = run({"--cameras", "maker", "s"});
    QCOMPARE(ended.code, 5);
    QVERIFY2(ended.errors.contains("/maker"), ended.errors);
    QVERIFY(started().isEmpty() && !QFile::exists(place->filePath("s")));
}

void TestStation::operatorsLanguage_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("English") << "en_GB.UTF-8" << QByteArray("\nLang=1\n");
    QTest::newRow("Chinese") << "zh_CN.UTF-8" << QByteArray("\nLang=2\n");
}

void TestStation::operatorsLanguage() {
    QFETCH(QString, locale);
    QFETCH(QByteArray, line);
    QCOMPARE(run({"--cameras", "simulator", "s"}, {{"LC_ALL", locale}}).code, 7);
    QVERIFY2(read("s/setting.ini").contains(line), read("s/setting.ini").constData());
}

/// The installed program's, also when the link led to one that has moved; a folder of the operator's own
/// stays.
void TestStation::chineseTexts() {
    QVERIFY(QDir(place->path()).mkdir("s") && QFile::link("/nowhere/lang", place->filePath("s/lang")));
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    QVERIFY(QFile::exists(place->filePath("s/lang/tilecam_zh_CN.qm")));
    QVERIFY(QDir(place->path()).mkpath("own/lang"));
    QCOMPARE(run({"--cameras", "simulator", "own"}).code, 7);
    QVERIFY(!QFile::exists(place->filePath("own/lang/tilecam_zh_CN.qm")));
}

void TestStation::optionsAreHandedOn() {
    QCOMPARE(run({"--cameras", "simulator", "s", "--log", "a b"}).code, 7);
    QCOMPARE(started().mid(3), (QStringList{"--log", "a b"}));
}

void TestStation::oddFolders() {
    QCOMPARE(run({"--cameras", "simulator", "--", "-s"}).code, 7);
    QVERIFY(QFile::exists(place->filePath("-s/setting.ini")));
    QCOMPARE(run({"--cameras", "simulator", place->filePath("absolute")}).code, 7);
    QCOMPARE(started().value(2), place->filePath("absolute"));
    QCOMPARE(run({"--cameras", "simulator", "."}).code, 7);
    QVERIFY(QFile::exists(place->filePath("setting.ini")));
}

void TestStation::folderThatCannotBe() {
    QFile file(place->filePath("s"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (const auto& folder : {QStringLiteral("s"), QStringLiteral("s/t"), QStringLiteral("/proc/none/s")}) {
        const Ended ended = run({"--cameras", "simulator", folder});
        QCOMPARE(ended.code, 4);
        QVERIFY2(ended.errors.contains("cannot be made or entered"), ended.errors);
        QVERIFY(started().isEmpty());
    }
}

/// As when the disk that it leads to is not there: it is the operator's, and nothing takes its place.
void TestStation::linkThatLeadsNowhere() {
    const QDir folder(place->path());
    for (const auto& name :
         {QStringLiteral("setting.ini"), QStringLiteral("kvcap2.ini"), QStringLiteral("cameras.txt")}) {
        const QString link = folder.filePath(name + "/s/" + name);
        QVERIFY(folder.mkpath(name + "/s"));
        QVERIFY(QFile::link("/nowhere/" + name, link));
        const Ended ended = run({"--cameras", "simulator", name + "/s"});
        QVERIFY2(ended.code == 4, qPrintable(name));
        QVERIFY2(ended.errors.contains(name.toLatin1() + " is a link that leads nowhere"), ended.errors);
        QVERIFY(started().isEmpty());
        QCOMPARE(QFile::symLinkTarget(link), "/nowhere/" + name);
    }
    // One that leads to a file is as good as the file.
    QVERIFY(QFile::copy(installed.path("share/bivista/example/simulator/setting.ini"),
                        folder.filePath("elsewhere.ini")));
    const QString link = folder.filePath("s/setting.ini");
    QVERIFY(folder.mkdir("s") && QFile::link(folder.filePath("elsewhere.ini"), link));
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    QCOMPARE(QFile::symLinkTarget(link), folder.filePath("elsewhere.ini"));
}

/// With settings it starts there, and the program says what it cannot write. Without, or in a home that
/// cannot be written to, there is no station.
void TestStation::folderThatMayNotBeWritten() {
    if (geteuid() == 0)
        QSKIP("Root may write everywhere");
    constexpr auto kReadOnly = QFile::ReadOwner | QFile::ExeOwner;
    constexpr auto kWritable = kReadOnly | QFile::WriteOwner;
    QCOMPARE(run({"--cameras", "simulator", "s"}).code, 7);
    QVERIFY(QDir(place->path()).mkdir("empty") && QDir(place->path()).mkdir("home"));
    for (const char* name : {"s", "empty", "home"})
        QVERIFY(QFile::setPermissions(place->filePath(name), kReadOnly));
    const Ended withSettings = run({"--cameras", "simulator", "s"});
    const Ended without = run({"--cameras", "simulator", "empty"});
    const bool isStarted = !started().isEmpty();
    const Ended home = run({"--cameras", "simulator"});
    // So that they can be removed.
    for (const char* name : {"s", "empty", "home"})
        QVERIFY(QFile::setPermissions(place->filePath(name), kWritable));
    QCOMPARE(withSettings.code, 7);
    QCOMPARE(without.code, 4);
    QVERIFY2(without.errors.contains("cannot be written to"), without.errors);
    QVERIFY(!isStarted);
    QVERIFY(QDir(place->filePath("empty")).isEmpty());
    QCOMPARE(home.code, 4);
    QVERIFY2(home.errors.contains("cannot be made or entered"), home.errors);
}

void TestStation::senseless_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("other cameras") << QStringList{"--cameras", "film", "s"};
    QTest::newRow("no cameras") << QStringList{"--cameras"};
    QTest::newRow("another option") << QStringList{"--camera", "simulator"};
    QTest::newRow("a folder without a name") << QStringList{""};
}

void TestStation::senseless() {
    QFETCH(QStringList, arguments);
    const Ended ended = run(arguments);
    QCOMPARE(ended.code, 2);
    QVERIFY(!ended.errors.isEmpty());
    QVERIFY(started().isEmpty());
    QCOMPARE(QDir(place->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

QTEST_GUILESS_MAIN(TestStation)
#include "tst_station.moc"
