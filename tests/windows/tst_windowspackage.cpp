// SPDX-License-Identifier: Apache-2.0
// What is in the packages for Windows, looked at without running anything. Made by packaging/windows/build
// and run by packaging/windows/test.

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <array>

namespace {

QByteArray content(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A text in two bytes a letter, with an end.
QByteArray wide(const QString& text) {
    return {reinterpret_cast<const char*>(text.utf16()), 2 * (text.size() + 1)};
}

/// A little-endian number of 32 bits.
QByteArray word(uint32_t value) {
    QByteArray result;
    for (int shift = 0; shift < 32; shift += 8)
        result.append(char(value >> shift));
    return result;
}

/// One of the texts that Explorer shows of a file; empty: it has none.
QString versionText(const QByteArray& file, const char* key) {
    const QByteArray begin = wide(QString::fromLatin1(key));
    int at = file.indexOf(begin);
    if (at < 0)
        return {};
    // Its value begins at a multiple of four, by nulls.
    at += begin.size();
    while (at + 1 < file.size() && file[at] == 0 && file[at + 1] == 0)
        at += 2;
    QString text;
    for (; at + 1 < file.size() && (file[at] || file[at + 1]); at += 2)
        text.append(QChar(uchar(file[at]), uchar(file[at + 1])));
    return text;
}

/// The checksum by which a program knows its symbols.
uint32_t crc32(const QByteArray& bytes) {
    uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= uchar(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xedb88320U : 0);
    }
    return ~crc;
}

QByteArray outputOf(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

}  // namespace

class TestWindowsPackage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void saysWhatItIs_data();
    void saysWhatItIs();
    void iconOf256Pixels();
    void readmeNamesTheVersion();
    void guideInBothLanguages();
    void symbolsFit_data();
    void symbolsFit();
    void manifestsForWinget();

private:
    QTemporaryDir place;
    QDir package;
    QDir symbols;
};

void TestWindowsPackage::initTestCase() {
    for (const char* archive : {PACKAGE, SYMBOLS}) {
        QVERIFY2(QFile::exists(archive), "packaging/windows/build makes it");
        QCOMPARE(QProcess::execute("unzip", {"-q", archive, "-d", place.path()}), 0);
    }
    package.setPath(place.filePath(QFileInfo(QStringLiteral(PACKAGE)).completeBaseName()));
    symbols.setPath(place.filePath(QFileInfo(QStringLiteral(SYMBOLS)).completeBaseName()));
}

void TestWindowsPackage::saysWhatItIs_data() {
    QTest::addColumn<QString>("description");
    QTest::newRow("bivista.exe") << "Bivista";
    QTest::newRow("simulator/KVCap2.dll") << "Simulated cameras";
    QTest::newRow("lib/genicam/KVCap2.dll") << "GenICam cameras";
    QTest::newRow("list-cameras.exe") << "List of GenICam cameras";
    QTest::newRow(SETUP) << "Bivista " VERSION " setup";
}

void TestWindowsPackage::saysWhatItIs() {
    QFETCH(QString, description);
    const QString name = QDir::isAbsolutePath(QTest::currentDataTag())
                             ? QString(QTest::currentDataTag())
                             : package.filePath(QTest::currentDataTag());
    if (name.contains("genicam") && !QFile::exists(name))
        QSKIP("the package was made without the library for GenICam cameras");
    const QByteArray file = content(name);
    QCOMPARE(versionText(file, "FileDescription").trimmed(), description);
    QCOMPARE(versionText(file, "ProductName"), QString("Bivista"));
    QCOMPARE(versionText(file, "FileVersion"), QString(VERSION));
    QCOMPARE(versionText(file, "CompanyName"), QString("The Bivista team"));
    QVERIFY(versionText(file, "LegalCopyright").contains("The Bivista team"));
}

/// In the program's list of icons there is one of the length of that picture: width and height are 0 for 256,
/// no palette, one plane of 32 bits.
void TestWindowsPackage::iconOf256Pixels() {
    const QByteArray picture = content(QStringLiteral(ICONS "/app.png"));
    QVERIFY(!picture.isEmpty());
    const QByteArray entry = QByteArray::fromHex("0000000001002000") + word(uint32_t(picture.size()));
    QVERIFY(content(package.filePath("bivista.exe")).contains(entry));
}

void TestWindowsPackage::readmeNamesTheVersion() {
    const QByteArray text = content(package.filePath("README.txt"));
    QVERIFY2(text.startsWith("Bivista " VERSION " for Windows\r\n"), text.left(80).constData());
    QVERIFY(!text.contains('@'));
    QCOMPARE(text.count('\n'), text.count("\r\n"));
}

/// What F1 opens; beside the program it is found first.
void TestWindowsPackage::guideInBothLanguages() {
    const QStringList english = QDir(package.filePath("guide/en")).entryList(QDir::Files);
    QVERIFY2(english.contains("index.html") && english.size() >= 13, qPrintable(english.join(' ')));
    QCOMPARE(QDir(package.filePath("guide/zh")).entryList(QDir::Files), english);
    const QStringList pictures = QDir(package.filePath("guide/pictures/en")).entryList(QDir::Files);
    QVERIFY(pictures.contains("joined.png"));
    QCOMPARE(QDir(package.filePath("guide/pictures/zh")).entryList(QDir::Files), pictures);
    QVERIFY(package.exists("guide/guide.css"));
    const QByteArray text = content(package.filePath("README.txt"));
    QVERIFY(text.contains("guide\\en\\index.html") && text.contains("guide\\zh\\index.html"));
}

void TestWindowsPackage::symbolsFit_data() {
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("source");
    QTest::newRow("bivista.exe") << "(main|WinMain)"
                                 << "src/app/main.cpp:";
    QTest::newRow("simulator/KVCap2.dll") << "CameraInit"
                                          << "simulator/kvcap2.cpp:";
    QTest::newRow("lib/genicam/KVCap2.dll") << "CameraInit"
                                            << "genicam/kvcap2.cpp:";
    QTest::newRow("list-cameras.exe") << "main"
                                      << "genicam/listcameras.cpp:";
}

/// The program names its symbols and their checksum, and they know the line of an address.
void TestWindowsPackage::symbolsFit() {
    QFETCH(QString, function);
    QFETCH(QString, source);
    const QString name = QTest::currentDataTag();
    if (!package.exists(name))
        QSKIP("the package was made without the library for GenICam cameras");
    const QString debug = symbols.filePath(name + ".debug");
    QByteArray link = QFileInfo(debug).fileName().toUtf8() + '\0';
    while (link.size() % 4 != 0)
        link.append('\0');
    link.append(word(crc32(content(debug))));
    const QByteArray file = content(package.filePath(name));
    QVERIFY(file.contains(link));
    // And has none of them itself.
    QVERIFY(!file.contains(source.chopped(1).toUtf8()) || !file.contains(".debug_line"));
    QVERIFY2(content(symbols.filePath("README.txt"))
                 .contains(QCryptographicHash::hash(file, QCryptographicHash::Sha256).toHex()),
             "the text beside the symbols is about other files");

    const QString names = QString::fromLatin1(outputOf("x86_64-w64-mingw32-nm", {debug}));
    const auto match =
        QRegularExpression("^([0-9a-f]+) T " + function + "$", QRegularExpression::MultilineOption)
            .match(names);
    QVERIFY2(match.hasMatch(), qPrintable(names.left(400)));
    const QByteArray line = outputOf("x86_64-w64-mingw32-addr2line", {"-e", debug, match.captured(1)});
    QVERIFY2(line.contains(source.toUtf8()), line.constData());
}

void TestWindowsPackage::manifestsForWinget() {
    const QDir folder(QStringLiteral(WINGET));
    QCOMPARE(folder.entryList(QDir::Files).size(), 3);
    for (const QString& name : folder.entryList(QDir::Files)) {
        const QByteArray text = content(folder.filePath(name));
        QVERIFY2(text.contains("PackageVersion: " VERSION "\n"), qPrintable(name));
        // What whoever publishes it fills in.
        QByteArray rest = text;
        rest.replace("@INSTALLER_URL@", "");
        QVERIFY2(!rest.contains('@'), qPrintable(name));
    }
    const QByteArray hash =
        QCryptographicHash::hash(content(QStringLiteral(SETUP)), QCryptographicHash::Sha256)
            .toHex()
            .toUpper();
    QCOMPARE(
        content(folder.filePath("Bivista.Bivista.installer.yaml")).count("InstallerSha256: " + hash + '\n'),
        2);
}

QTEST_GUILESS_MAIN(TestWindowsPackage)
#include "tst_windowspackage.moc"
