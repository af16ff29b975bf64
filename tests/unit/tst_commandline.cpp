// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "app/commandline.h"
#include "app/version.h"

/// What the program takes from its command line, and what it says instead of starting.
class TestCommandLine : public QObject {
    Q_OBJECT

private slots:
    void nothingGiven();
    void folderAndLog_data();
    void folderAndLog();
    void qtsOwnArePassedOver_data();
    void qtsOwnArePassedOver();
    void version_data();
    void version();
    void help_data();
    void help();
    void senseless_data();
    void senseless();
    void logOfAFolderThatIsGone();
    void ofThisProcess();

private:
    static CommandLine parse(const QStringList& arguments) {
        return CommandLine::parse(QStringList{"bivista"} + arguments, QDir::rootPath() + "home/operator");
    }
};

void TestCommandLine::nothingGiven() {
    for (const QStringList& arguments : {QStringList{}, QStringList{"bivista"}}) {
        const CommandLine line = CommandLine::parse(arguments, "/home/operator");
        QVERIFY(!line.answer);
        QVERIFY(line.folder.isEmpty());
        QVERIFY(line.logFile.isEmpty());
        QCOMPARE(line.giveAnswer(), 0);
    }
}

void TestCommandLine::folderAndLog_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("logFile");  // below the root
    QTest::newRow("folder") << QStringList{"--folder", "station 1"} << "station 1" << QString();
    QTest::newRow("folder by =") << QStringList{"--folder=/data"} << "/data" << QString();
    QTest::newRow("one dash") << QStringList{"-folder", "/data"} << "/data" << QString();
    QTest::newRow("the last counts") << QStringList{"--folder", "/a", "--folder", "/b"} << "/b" << QString();
    QTest::newRow("log") << QStringList{"--log", "a.log"} << QString() << "home/operator/a.log";
    QTest::newRow("log above") << QStringList{"--log=../a.log"} << QString() << "home/a.log";
    QTest::newRow("absolute log") << QStringList{"--log", QDir::rootPath() + "tmp/a.log"} << QString()
                                  << "tmp/a.log";
    // Relative to where the program was started, not to the folder.
    QTest::newRow("both") << QStringList{"--folder", "sub", "--log", "a.log"} << "sub"
                          << "home/operator/a.log";
    QTest::newRow("with letters of all kinds")
        << QStringList{"--folder", QStringLiteral("工位 1é")} << QStringLiteral("工位 1é") << QString();
}

void TestCommandLine::folderAndLog() {
    QFETCH(QStringList, arguments);
    const CommandLine line = parse(arguments);
    QVERIFY2(!line.answer, qPrintable(line.answer.value_or(CommandLine::Answer{}).text));
    QTEST(line.folder, "folder");
    QFETCH(QString, logFile);
    QCOMPARE(line.logFile, logFile.isEmpty() ? QString() : QDir::rootPath() + logFile);
}

void TestCommandLine::qtsOwnArePassedOver_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("platform") << QStringList{"-platform", "offscreen"};
    QTest::newRow("two dashes") << QStringList{"--platform", "offscreen"};
    QTest::newRow("by =") << QStringList{"-style=fusion"};
    QTest::newRow("style") << QStringList{"-style", "fusion"};
    QTest::newRow("stylesheet") << QStringList{"-stylesheet", "file.qss"};
    QTest::newRow("display") << QStringList{"-display", ":1"};
    QTest::newRow("geometry") << QStringList{"-geometry", "800x600"};
    QTest::newRow("without a value") << QStringList{"-reverse"};
    QTest::newRow("session") << QStringList{"-session", "1_2"};
    QTest::newRow("several") << QStringList{"-reverse", "-style", "fusion", "-platform", "offscreen"};
}

void TestCommandLine::qtsOwnArePassedOver() {
    QFETCH(QStringList, arguments);
    const QStringList ours{"--folder", "/data"};
    for (const QStringList& all : {arguments + ours, ours + arguments}) {
        const CommandLine line = parse(all);
        QVERIFY2(!line.answer, qPrintable(line.answer.value_or(CommandLine::Answer{}).text));
        QCOMPARE(line.folder, QString("/data"));
    }
}

void TestCommandLine::version_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("long") << QStringList{"--version"};
    QTest::newRow("short") << QStringList{"-v"};
    QTest::newRow("beside others") << QStringList{"--folder", "/data", "-platform", "offscreen", "--version"};
}

void TestCommandLine::version() {
    QFETCH(QStringList, arguments);
    const CommandLine line = parse(arguments);
    QVERIFY(line.answer);
    QCOMPARE(line.answer->code, 0);
    QCOMPARE(line.answer->text, QStringLiteral("Bivista %1\n").arg(programVersion()));
}

void TestCommandLine::help_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("long") << QStringList{"--help"};
    QTest::newRow("short") << QStringList{"-h"};
    QTest::newRow("beside what makes no sense") << QStringList{"--fodler", "--help"};
}

void TestCommandLine::help() {
    QFETCH(QStringList, arguments);
    const CommandLine line = parse(arguments);
    QVERIFY(line.answer);
    QCOMPARE(line.answer->code, 0);
    for (const char* option : {"--folder DIR", "--log FILE", "--version", "--help"})
        QVERIFY2(line.answer->text.contains(option), option);
    // Consoles are that wide.
    for (const QString& text : line.answer->text.split('\n'))
        QVERIFY2(text.size() <= 80, qPrintable(text));
}

void TestCommandLine::senseless_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("named");
    QTest::newRow("unknown") << QStringList{"--fodler", "/data"} << "fodler";
    QTest::newRow("unknown letter") << QStringList{"-x"} << "x";
    QTest::newRow("a word") << QStringList{"station1"} << "station1";
    QTest::newRow("no folder") << QStringList{"--folder"} << "folder";
    QTest::newRow("empty folder") << QStringList{"--folder", ""} << "folder";
    QTest::newRow("empty by =") << QStringList{"--folder="} << "folder";
    QTest::newRow("no log") << QStringList{"--log"} << "log";
    QTest::newRow("empty log") << QStringList{"--log", ""} << "log";
    QTest::newRow("behind Qt's own") << QStringList{"-style", "fusion", "--fodler"} << "fodler";
}

void TestCommandLine::senseless() {
    QFETCH(QStringList, arguments);
    QFETCH(QString, named);
    const CommandLine line = parse(arguments);
    QVERIFY(line.answer);
    QCOMPARE(line.answer->code, 2);
    QVERIFY2(line.answer->text.section('\n', 0, 0).contains(named), qPrintable(line.answer->text));
    QVERIFY2(line.answer->text.contains("--help"), qPrintable(line.answer->text));
    QVERIFY(line.answer->text.endsWith('\n'));
}

void TestCommandLine::logOfAFolderThatIsGone() {
    const CommandLine line = CommandLine::parse({"bivista", "--log", "a.log"}, QString());
    QVERIFY(line.answer);
    QCOMPARE(line.answer->code, 2);
    QVERIFY2(line.answer->text.contains("--log a.log"), qPrintable(line.answer->text));
    const QString absolute = QDir::rootPath() + "a.log";
    QCOMPARE(CommandLine::parse({"bivista", "--log", absolute}, QString()).logFile, absolute);
}

void TestCommandLine::ofThisProcess() {
#ifdef Q_OS_WIN
    QSKIP("Windows hands over the whole line beside main");
#endif
    const char* const arguments[] = {"bivista", "--log", "here.log", nullptr};
    QCOMPARE(CommandLine::read(3, arguments).logFile, QDir::current().absoluteFilePath("here.log"));
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
