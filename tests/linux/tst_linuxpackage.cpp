// SPDX-License-Identifier: Apache-2.0
// What is installed on Linux: files in their places, the start menu's entry, what a software centre reads,
// manual pages, which camera library the program finds.

#include <QtTest>
#include <QImage>
#include <QXmlStreamReader>

#include "linux/installed.h"

class TestLinuxPackage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void filesAreInTheirPlaces_data();
    void filesAreInTheirPlaces();
    void installedOnceMore();
    void startMenu();
    void startMenuIsValid();
    void softwareCentre();
    void softwareCentreIsValid();
    void icons();
    void manual_data();
    void manual();
    void pagesNameWhatIsThere();
    void changes();
    void camerasOfTheLibraryPath_data();
    void camerasOfTheLibraryPath();
    void versionIsOne();

private:
    static bool validates(const QString& validator, const QStringList& arguments, QByteArray* said);
    QMap<QString, QMap<QString, QString>> entry() const;

    Installed installed;
};

namespace {

/// "1.2.3 2026-01-31" for each release of CHANGELOG.md, the newest first.
QStringList releases() {
    QFile file(QStringLiteral(SOURCE_FOLDER "/CHANGELOG.md"));
    QStringList found;
    if (!file.open(QIODevice::ReadOnly))
        return found;
    static const QRegularExpression head("^## ([0-9.]+) \\((\\d{4}-\\d\\d-\\d\\d)\\)$",
                                         QRegularExpression::MultilineOption);
    auto matches = head.globalMatch(QString::fromUtf8(file.readAll()));
    while (matches.hasNext()) {
        const auto match = matches.next();
        found << match.captured(1) + ' ' + match.captured(2);
    }
    return found;
}

}  // namespace

void TestLinuxPackage::initTestCase() {
    const QString problem = installed.install();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TestLinuxPackage::filesAreInTheirPlaces_data() {
    QTest::addColumn<bool>("mayBeRun");
    for (const char* name : {"bin/bivista", "bin/bivista-station"})
        QTest::newRow(name) << true;
    QTest::newRow("LIBRARIES/simulator/libKVCap2.so") << false;
    QTest::newRow("LIBRARIES/maker/README") << false;
    for (const char* name :
         {"share/bivista/lang/tilecam_zh_CN.qm", "share/bivista/example/simulator/setting.ini",
          "share/bivista/example/simulator/kvcap2.ini", "share/bivista/example/simulator/mark0.txt",
          "share/bivista/example/maker/setting.ini", "share/applications/bivista.desktop",
          "share/metainfo/example.bivista.bivista.metainfo.xml", "share/doc/bivista/copyright",
          "share/doc/bivista/changelog.gz", "share/doc/bivista/changelog.Debian.gz",
          "share/doc/bivista/examples/bivista.service", "share/doc/bivista/simulator.md",
          "share/doc/bivista/README.Debian"})
        QTest::newRow(name) << false;
    if (HAS_GENICAM) {
        QTest::newRow("bin/bivista-list-cameras") << true;
        QTest::newRow("LIBRARIES/genicam/libKVCap2.so") << false;
        for (const char* name :
             {"share/bivista/example/genicam/setting.ini", "share/bivista/example/genicam/kvcap2-genicam.ini",
              "lib/udev/rules.d/70-bivista-cameras.rules", "lib/sysctl.d/60-bivista-cameras.conf",
              "share/doc/bivista-genicam/copyright", "share/doc/bivista-genicam/changelog.Debian.gz",
              "share/doc/bivista-genicam/genicam.md"})
            QTest::newRow(name) << false;
    }
}

void TestLinuxPackage::filesAreInTheirPlaces() {
    QFETCH(bool, mayBeRun);
    QString name = QString::fromLatin1(QTest::currentDataTag());
    name = name.startsWith("LIBRARIES") ? installed.libraries() + name.mid(9) : installed.path(name);
    const QFileInfo file(name);
    QVERIFY2(file.isFile() && file.size() > 0, qPrintable(name));
    // Root may read and write everything, so the bits are asked.
    QCOMPARE(bool(file.permissions() & QFile::ExeOther), mayBeRun);
    QVERIFY(file.permissions() & QFile::ReadOther);
    QVERIFY(!(file.permissions() & QFile::WriteOther));
}

/// Over what is there already, as somebody does who installs by hand.
void TestLinuxPackage::installedOnceMore() {
    const QString problem = installed.install();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QVERIFY(QFile::remove(installed.path("bin/bivista")));
    QCOMPARE(installed.install(), QString());
    QVERIFY(QFileInfo(installed.path("bin/bivista")).isExecutable());
}

/// The groups of the start menu's entry, and their keys.
QMap<QString, QMap<QString, QString>> TestLinuxPackage::entry() const {
    QMap<QString, QMap<QString, QString>> groups;
    QString group;
    for (const QString& line :
         QString::fromUtf8(installed.read("share/applications/bivista.desktop")).split('\n')) {
        if (line.startsWith('['))
            group = line.mid(1, line.size() - 2);
        else if (!line.startsWith('#') && line.contains('='))
            groups[group].insert(line.section('=', 0, 0), line.section('=', 1));
    }
    return groups;
}

void TestLinuxPackage::startMenu() {
    const auto groups = entry();
    const auto main = groups.value("Desktop Entry");
    QCOMPARE(main.value("Type"), QString("Application"));
    QCOMPARE(main.value("Name"), QString("Bivista"));
    QCOMPARE(main.value("Terminal"), QString("false"));
    QCOMPARE(main.value("Icon"), QString("bivista"));
    // The class of the window is the program's file name: packaging/debian/test looks at the window's.
    QCOMPARE(main.value("StartupWMClass"), QString("bivista"));
    QVERIFY(QFileInfo(installed.path("bin/" + main.value("TryExec"))).isExecutable());
    QCOMPARE(main.value("Exec"), QString("bivista-station"));
    QVERIFY(!main.value("Comment[zh_CN]").isEmpty());
    const QStringList actions = main.value("Actions").split(';', Qt::SkipEmptyParts);
    QCOMPARE(actions, (QStringList{"maker", "genicam", "simulator"}));
    for (const QString& action : actions) {
        const auto keys = groups.value("Desktop Action " + action);
        QVERIFY(!keys.value("Name").isEmpty() && !keys.value("Name[zh_CN]").isEmpty());
        QCOMPARE(keys.value("Exec"), "bivista-station --cameras " + action);
    }
    QCOMPARE(groups.size(), 1 + actions.size());
}

bool TestLinuxPackage::validates(const QString& validator, const QStringList& arguments, QByteArray* said) {
    const Ended ended = runToEnd(validator, arguments);
    *said = ended.output + ended.errors;
    return ended.code == 0;
}

void TestLinuxPackage::startMenuIsValid() {
    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    if (validator.isEmpty())
        QSKIP("There is no desktop-file-validate here");
    QByteArray said;
    QVERIFY2(validates(validator, {installed.path("share/applications/bivista.desktop")}, &said),
             said.constData());
    QCOMPARE(said, QByteArray());
}

void TestLinuxPackage::softwareCentre() {
    QXmlStreamReader xml(installed.read("share/metainfo/example.bivista.bivista.metainfo.xml"));
    QStringList told, binaries, pictures;
    QMap<QString, int> changes;
    QMap<QString, QString> texts;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QString name = xml.name().toString();
        const auto attributes = xml.attributes();
        if (name == "release")
            told << attributes.value("version").toString() + ' ' + attributes.value("date").toString();
        else if (name == "li" && !told.isEmpty())
            ++changes[told.last()];
        else if (name == "binary")
            binaries << xml.readElementText();
        else if (name == "image")
            pictures << xml.readElementText();
        else if (name == "id" || name == "launchable" || name == "project_license")
            texts.insert(name, xml.readElementText());
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(texts.value("id"), QString("example.bivista.bivista"));
    QCOMPARE(texts.value("project_license"), QString("Apache-2.0"));
    QVERIFY(QFile::exists(installed.path("share/applications/" + texts.value("launchable"))));
    QCOMPARE(told, releases());
    for (const QString& release : qAsConst(told))
        QVERIFY2(changes.value(release) > 0, qPrintable(release));
    QVERIFY(!binaries.isEmpty());
    for (const QString& binary : qAsConst(binaries))
        QVERIFY2(QFileInfo(installed.path("bin/" + binary)).isExecutable(), qPrintable(binary));
    // The guide's own pictures, wherever the guide is published.
    QVERIFY(pictures.size() >= 2);
    for (const QString& picture : qAsConst(pictures)) {
        QVERIFY2(picture.contains("/guide/pictures/"), qPrintable(picture));
        const QString file =
            QStringLiteral(SOURCE_FOLDER "/docs/guide/pictures/") + picture.section("/pictures/", 1);
        if (QFileInfo::exists(QStringLiteral(SOURCE_FOLDER "/docs/guide/pictures")))
            QVERIFY2(QFile::exists(file), qPrintable(file));
    }
}

void TestLinuxPackage::softwareCentreIsValid() {
    const QString validator = QStandardPaths::findExecutable("appstreamcli");
    if (validator.isEmpty())
        QSKIP("There is no appstreamcli here");
    QByteArray said;
    QStringList arguments{"validate", "--no-net"};
    for (const QFileInfo& file : QDir(installed.path("share/metainfo")).entryInfoList(QDir::Files))
        arguments << file.filePath();
    QCOMPARE(arguments.size(), HAS_GENICAM ? 4 : 3);
    QVERIFY2(validates(validator, arguments, &said), said.constData());
}

void TestLinuxPackage::icons() {
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        const QImage icon(installed.path(QString("share/icons/hicolor/%1x%1/apps/bivista.png").arg(size)));
        QCOMPARE(icon.size(), QSize(size, size));
    }
    QVERIFY(installed.read("share/icons/hicolor/scalable/apps/bivista.svg").contains("<svg"));
}

void TestLinuxPackage::manual_data() {
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("bivista") << QByteArray("\\-\\-folder");
    QTest::newRow("bivista-station") << QByteArray("\\-\\-cameras genicam");
    if (HAS_GENICAM)
        QTest::newRow("bivista-list-cameras") << QByteArray("\\-\\-addresses");
}

void TestLinuxPackage::manual() {
    QFETCH(QByteArray, says);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    QVERIFY(QFileInfo(installed.path("bin/" + name)).isExecutable());
    const QByteArray page = installed.readPacked(QString("share/man/man1/%1.1.gz").arg(name));
    QVERIFY2(page.contains(says), page.constData());
    const QByteArray head = ".TH " + name.toUpper().toLatin1() + " 1 \"" +
                            releases().value(0).section(' ', 1).toLatin1() + "\" \"Bivista " VERSION "\"";
    QVERIFY2(page.contains(head), page.constData());
}

/// What the manual pages and the first text that somebody reads name in /usr is installed.
void TestLinuxPackage::pagesNameWhatIsThere() {
    QByteArray all = installed.read("share/doc/bivista/README.Debian");
    QStringList pages{"bivista", "bivista-station"};
    if (HAS_GENICAM)
        pages << "bivista-list-cameras";
    for (const QString& name : qAsConst(pages)) {
        QByteArray page = installed.readPacked(QString("share/man/man1/%1.1.gz").arg(name));
        page.replace("\\-", "-").replace("\\%", "");
        QVERIFY2(page.contains("/usr/share/doc/bivista/guide/en/index.html"), page.constData());
        all += page;
    }
    static const QRegularExpression place("/usr/(share/doc/[\\w./-]*\\w)");
    QSet<QString> named;
    for (auto match = place.globalMatch(QString::fromUtf8(all)); match.hasNext();)
        named.insert(match.next().captured(1));
    QVERIFY(named.contains("share/doc/bivista/simulator.md"));
    for (const QString& name : qAsConst(named)) {
        // The guide is of a component of its own, which packaging/debian/test looks for.
        if (name.contains("/guide/") || (!HAS_GENICAM && name.contains("bivista-genicam")))
            continue;
        QVERIFY2(QFileInfo::exists(installed.path(name)), qPrintable(name));
    }
}

void TestLinuxPackage::changes() {
    QFile list(QStringLiteral(SOURCE_FOLDER "/CHANGELOG.md"));
    QVERIFY(list.open(QIODevice::ReadOnly));
    QCOMPARE(installed.readPacked("share/doc/bivista/changelog.gz"), list.readAll());
    const QByteArray debian = installed.readPacked("share/doc/bivista/changelog.Debian.gz");
    QVERIFY2(debian.startsWith("bivista (" VERSION "-1~deb"), debian.constData());
    QCOMPARE(debian.count("\n -- The Bivista team <"), releases().size());
}

void TestLinuxPackage::camerasOfTheLibraryPath_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("library");
    QTest::newRow("without a path") << ""
                                    << "simulator";
    QTest::newRow("a folder of its own") << "elsewhere"
                                         << "elsewhere";
    if (HAS_GENICAM)
        QTest::newRow("GenICam") << "genicam"
                                 << "genicam";
}

/// The linker of the running system is asked; the program does not start.
void TestLinuxPackage::camerasOfTheLibraryPath() {
    QFETCH(QString, path);
    QFETCH(QString, library);
    const QDir libraries(installed.libraries());
    if (!QFile::exists(libraries.filePath("elsewhere/libKVCap2.so")))
        QVERIFY(libraries.mkdir("elsewhere") && QFile::copy(libraries.filePath("simulator/libKVCap2.so"),
                                                            libraries.filePath("elsewhere/libKVCap2.so")));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("LD_LIBRARY_PATH");
    environment.insert("LD_TRACE_LOADED_OBJECTS", "1");
    if (!path.isEmpty())
        environment.insert("LD_LIBRARY_PATH", libraries.filePath(path));
    const Ended ended = runToEnd(installed.path("bin/bivista"), {}, {}, environment);
    QString found;
    for (const QString& line : QString::fromUtf8(ended.output).split('\n'))
        if (line.contains("libKVCap2.so => "))
            found = line.section(" => ", 1).section(" (", 0, 0);
    QVERIFY2(!found.isEmpty(), ended.output + ended.errors);
    QCOMPARE(QFileInfo(found).canonicalFilePath(),
             QFileInfo(libraries.filePath(library + "/libKVCap2.so")).canonicalFilePath());
}

void TestLinuxPackage::versionIsOne() {
    QVERIFY(!releases().isEmpty());
    QCOMPARE(releases().first().section(' ', 0, 0), QString(VERSION));
    const Ended ended = runToEnd(installed.path("bin/bivista"), {"--version"});
    QCOMPARE(ended.code, 0);
    QCOMPARE(QString::fromUtf8(ended.output).trimmed(), QString("Bivista " VERSION));
}

QTEST_GUILESS_MAIN(TestLinuxPackage)
#include "tst_linuxpackage.moc"
