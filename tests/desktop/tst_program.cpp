// SPDX-License-Identifier: Apache-2.0
// The program as its users have it: on a desktop with a window manager, beside other programs, with the
// camera library it is built with.

#include <QRegularExpression>
#include <QUrl>

#include "support/runningbivista.h"

class TestProgram : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsMaximisedAndEndsInOrder();
    void scaledAsTheScreenSays();
    void normalWindowFitsTheScreen();
    void scaledWhereSomebodyChoseIt_data();
    void scaledWhereSomebodyChoseIt();
    void savesByHotkeyFromAnotherProgram();
    void secondInstanceSaysThatTheKeyIsTaken();
    void wrongSerialNumberEndsTheProgram();
    void otherLibraryOnThePathIsUsed();
    void pullsThroughWithoutCameras();
    void guideOnF1();

private:
    std::unique_ptr<XServer> server;
};

void TestProgram::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void TestProgram::cleanup() {
    server.reset();
}

void TestProgram::startsMaximisedAndEndsInOrder() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start();
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY2(window, bivista.process->errors().constData());
    QVERIFY(bivista.waitForStreams());
    const auto geometry = server->run("xdotool", {"getwindowgeometry", "--shell", QString::number(window)});
    QVERIFY(geometry.ok);
    QVERIFY2(geometry.output.contains("WIDTH=19"), geometry.output.constData());
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    const QByteArray log = bivista.process->errors();
    QVERIFY2(log.contains("Close event"), log.constData());
    QCOMPARE(log.count("exit capture"), 4);
    QVERIFY2(!log.contains("No matching signal"), log.constData());
    QVERIFY2(!log.contains("QObject::connect"), log.constData());
    QVERIFY(bivista.read("setting.ini").contains("Cam3="));
}

/// By half, as it is when it is told the very factor, and not rounded to twice the size.
void TestProgram::scaledAsTheScreenSays() {
    QImage bars[2];
    for (const bool isTold : {true, false}) {
        RunningBivista bivista(*server, QStringLiteral(BIVISTA));
        if (isTold)
            bivista.start({{"QT_SCALE_FACTOR", "1.5"}, {"QT_FONT_DPI", "96"}});
        else
            bivista.start({{"QT_FONT_DPI", "144"}});
        const quint32 window = server->waitForWindow("Bivista");
        QVERIFY(window);
        QVERIFY(bivista.waitForStreams());
        // Menus and tools; what is above them is the window manager's.
        const auto seen = [this] { return server->screenshot().copy(0, 26, 1920, 110); };
        QImage& picture = bars[isTold ? 0 : 1];
        QVERIFY(waitFor([&] { return std::exchange(picture, seen()) == seen(); }));
        if (!isTold)
            QVERIFY(waitFor([&] { return seen() == bars[0]; }, 5000));
        QVERIFY(server->closeWindow(window));
        QVERIFY(bivista.process->waitForEnd());
    }
}

/// At 150 % the form's own size is larger than the screen: the status bar would be beyond its edge.
void TestProgram::normalWindowFitsTheScreen() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start({{"QT_FONT_DPI", "144"}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(bivista.waitForStreams());
    const auto size = [&] {
        const QByteArray said =
            server->run("xdotool", {"getwindowgeometry", "--shell", QString::number(window)}).output;
        QMap<QByteArray, int> numbers;
        for (const QByteArray& line : said.split('\n'))
            numbers[line.left(line.indexOf('='))] = line.mid(line.indexOf('=') + 1).toInt();
        return QSize(numbers["WIDTH"], numbers["HEIGHT"]);
    };
    const QSize screen(1920, 1080);
    QVERIFY(server->activate(window));
    QVERIFY(server->key("F4"));
    QVERIFY(waitFor([&] { return size() == screen; }));
    QVERIFY(server->key("Escape"));
    QVERIFY(waitFor([&] { return size() != screen; }));
    const auto isInside = [&] {
        return size().width() <= screen.width() && size().height() <= screen.height();
    };
    QVERIFY2(waitFor(isInside, 5000), qPrintable(QString::number(size().width())));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
}

void TestProgram::scaledWhereSomebodyChoseIt_data() {
    QTest::addColumn<int>("serverDpi");
    QTest::addColumn<QByteArray>("resources");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("scale");
    const QByteArray half = "Xft.antialias:\t1\nXft.dpi:\t144\n";
    // What a screen says of its millimetres, or a server makes up.
    QTest::newRow("millimetres") << 100 << QByteArray() << QString() << QString() << "1";
    QTest::newRow("millimetres, other resources")
        << 150 << QByteArray("Xft.antialias:\t1\n") << QString() << QString() << "2|1";
    QTest::newRow("chosen") << 100 << half << QString() << QString() << "1.5";
    QTest::newRow("chosen, after much else")
        << 100 << "Other.text:\t" + QByteArray(100000, 'x') + '\n' + half << QString() << QString() << "1.5";
    QTest::newRow("rounded by the user") << 100 << half << "QT_SCALE_FACTOR_ROUNDING_POLICY"
                                         << "Floor"
                                         << "1";
    QTest::newRow("exact by the user") << 100 << QByteArray() << "QT_SCALE_FACTOR_ROUNDING_POLICY"
                                       << "PassThrough"
                                       << "1.04|1";
    QTest::newRow("told the factor") << 100 << QByteArray() << "QT_SCALE_FACTOR"
                                     << "1.25"
                                     << "1.25";
}

/// A screen's millimetres are not to be had to the px, and nobody asked for them: they alone scale by whole
/// steps. Qt 5.15.8 goes by them, 5.15.15 takes no notice of them.
void TestProgram::scaledWhereSomebodyChoseIt() {
    QFETCH(int, serverDpi);
    QFETCH(QByteArray, resources);
    QFETCH(QString, variable);
    QFETCH(QString, value);
    QFETCH(QString, scale);
    server = std::make_unique<XServer>(serverDpi);
    QVERIFY2(server->start(), qPrintable(server->errorString()));
    if (!resources.isEmpty())
        QVERIFY(server->setResources(resources));
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    QMap<QString, QString> variables{{"KVCAP2_COUNT", "0"}};
    if (!variable.isEmpty())
        variables.insert(variable, value);
    bivista.start(variables);
    const QRegularExpression line("Screen .* scale ([0-9.]+),");
    QRegularExpressionMatch match;
    QVERIFY(waitFor([&] { return (match = line.match(bivista.read("logs/bivista.log"))).hasMatch(); }));
    QStringList scales = scale.split('|');
    if (qstrcmp(qVersion(), "5.15.8") == 0)
        scales = scales.mid(0, 1);
    const QString found = QString::number(match.captured(1).toDouble(), 'g', 3);
    QVERIFY2(scales.contains(found), qPrintable(found));
    QVERIFY(server->closeWindow(server->waitForWindow("Bivista")));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

void TestProgram::savesByHotkeyFromAnotherProgram() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start();
    QVERIFY(server->waitForWindow("Bivista"));
    DesktopProgram editor(*server, QStringLiteral(KEY_WINDOW), {"Editor"});
    const quint32 other = server->waitForWindow("Editor");
    QVERIFY(other);
    QVERIFY(server->activate(other));
    QVERIFY(bivista.waitForStreams());
    QCOMPARE(server->activeWindow(), other);
    const int before = bivista.pictures().size();
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    QCOMPARE(server->activeWindow(), other);
    const QImage saved(bivista.folder.filePath(bivista.pictures().last()));
    QCOMPARE(saved.size(), QSize(960 + 640, 480));
}

void TestProgram::secondInstanceSaysThatTheKeyIsTaken() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    first.start();
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(first.waitForStreams());
    RunningBivista second(*server, QStringLiteral(BIVISTA));
    second.write("setting.ini", "[File]\nLang=1\nTitle=Second\n");
    second.start();
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(!server->titles().contains("Second"));  // the start waits for the answer
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    const quint32 window = server->waitForWindow("Second");
    QVERIFY(window);
    QVERIFY(server->closeWindow(window));
    QVERIFY(second.process->waitForEnd());
    QCOMPARE(second.process->exitCode(), 0);
    // The first one still has the key.
    const int before = first.pictures().size();
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(first.waitForPictures(before + 1));
}

void TestProgram::wrongSerialNumberEndsTheProgram() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    const QByteArray settings = "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n";
    bivista.write("setting.ini", settings);
    bivista.start();
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(!server->titles().contains("Bivista"));
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(!server->titles().contains("Bivista"));
    QCOMPARE(bivista.read("setting.ini"), settings);
}

void TestProgram::otherLibraryOnThePathIsUsed() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start({{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)}, {"RECORDING_CAMERAS", "2"}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitFor([&] { return bivista.read("setting.ini").contains("Cam1=SN1"); }));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

void TestProgram::pullsThroughWithoutCameras() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start({{"KVCAP2_COUNT", "0"}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitFor([&] { return bivista.process->errors().contains("Device count: 0"); }));
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.pictures().isEmpty());
    QVERIFY(!bivista.read("setting.ini").contains("Cam0="));
}

/// With a copy of the program, so that there is a guide beside it, and a stand-in for what opens files.
void TestProgram::guideOnF1() {
    const QTemporaryDir place;
    const auto path = [&place](const char* name) { return place.filePath(QLatin1String(name)); };
    QVERIFY(QDir().mkpath(path("bin")) && QDir().mkpath(path("guide/en")) && QDir().mkpath(path("tools")));
    QVERIFY(QFile::copy(QStringLiteral(BIVISTA), path("bin/bivista")));
    QFile page(path("guide/en/index.html"));
    QVERIFY(page.open(QIODevice::WriteOnly));
    page.close();
    QFile opener(path("tools/xdg-open"));
    QVERIFY(opener.open(QIODevice::WriteOnly));
    opener.write("#!/bin/sh\nprintf '%s' \"$1\" >\"$OPENED.new\" && mv \"$OPENED.new\" \"$OPENED\"\n");
    opener.close();
    QVERIFY(opener.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    RunningBivista bivista(*server, path("bin/bivista"));
    bivista.start({{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)},
                   {"RECORDING_CAMERAS", "2"},
                   {"OPENED", path("opened")},
                   {"PATH", path("tools") + ':' + qEnvironmentVariable("PATH")}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY2(window, bivista.process->errors().constData());
    QVERIFY(server->activate(window));
    QVERIFY(server->key("F1"));
    QVERIFY2(waitFor([&] { return QFile::exists(path("opened")); }), bivista.process->errors().constData());
    QFile opened(path("opened"));
    QVERIFY(opened.open(QIODevice::ReadOnly));
    QCOMPARE(QUrl(QString::fromUtf8(opened.readAll())).toLocalFile(), page.fileName());
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
