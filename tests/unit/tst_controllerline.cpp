// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QtTest>
#ifdef Q_OS_LINUX
#include <pthread.h>
#endif
#include <random>
#include <thread>

#include "control/controllerline.h"
#include "support/fakeport.h"

namespace {

constexpr int kWait = 10000;  // ms, limit of every wait

}  // namespace

/// The front of the serial line, over ports without a device.
class TestControllerLine : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void portIsReadOnAThreadOfItsOwn();
    void looksLikeAPort();
    void eachDeliveryHasATurn();
    void nothingIsGluedWhileNobodyLooks();
    void largeDeliveryComesWhole();
    void readWithoutBeingAnnounced();
    void unreadDeliveryStays();
    void readInPieces();
    void nestedLoopGoesOn();
    void tooManyAtOnce();
    void oneTooMany();
    void lostAndBack_data();
    void lostAndBack();
    void whatCameBeforeTheLossIsHandled();
    void lostWhileHandling();
    void lostAndBackWhileHandling();
    void lineGoneWhileHandling();
    void missingAtTheStart();
    void missingAtTheStartAndTriedAgain();
#ifdef Q_OS_LINUX
    void noThreadToBeHad();
#endif
    void problemOfTheLineGoesFirst();
    void closingDropsWhatWaits();
    void opensAgain();
    void endsWhileItIsAway();
    void endsWhileItTriesToOpen();
    void doesNotWaitForAStuckDriver();

private:
    void makeLine();
    void openLine();
    QByteArrayList waitForReceived(int count);

    std::shared_ptr<PortScript> script;
    std::unique_ptr<ControllerLine> line;
    QByteArrayList received;
    QStringList problems;
};

void TestControllerLine::init() {
    script = std::make_shared<PortScript>();
    received.clear();
    problems.clear();
}

void TestControllerLine::cleanup() {
    line.reset();
    QCOMPARE(script->get(&PortScript::alive), 0);
}

void TestControllerLine::makeLine() {
    line = std::make_unique<ControllerLine>(
        QStringLiteral("COM3"), nullptr,
        [rules = script](const QString& name) { return std::make_unique<FakePort>(name, rules); });
    connect(line.get(), &ControllerLine::problemChanged, this,
            [this](const QString& problem) { problems.append(problem); });
}

void TestControllerLine::openLine() {
    makeLine();
    connect(line.get(), &QSerialPort::readyRead, this, [this] { received.append(line->readAll()); });
    QVERIFY(line->openLine());
}

QByteArrayList TestControllerLine::waitForReceived(int count) {
    // As fast as the event loop turns.
    QEventLoop loop;
    QTimer look;
    QElapsedTimer timer;
    timer.start();
    look.callOnTimeout(&loop, [&] {
        if (received.size() >= count || timer.hasExpired(kWait))
            loop.quit();
    });
    look.start(5);
    loop.exec();
    return received;
}

void TestControllerLine::portIsReadOnAThreadOfItsOwn() {
    openLine();
    QVERIFY(script->get(&PortScript::thread) != QThread::currentThread());
    QCOMPARE(script->get(&PortScript::port)->portName(), QStringLiteral("COM3"));
    QCOMPARE(script->get(&PortScript::port)->baudRate(), 9600);
    QCOMPARE(script->get(&PortScript::openings), 1);
    QCOMPARE(problems, QStringList());
    line.reset();
    QCOMPARE(script->get(&PortScript::alive), 0);
}

void TestControllerLine::looksLikeAPort() {
    openLine();
    QSerialPort* port = line.get();
    QVERIFY(port->isOpen());
    QCOMPARE(port->openMode(), QIODevice::ReadWrite);
    QCOMPARE(port->portName(), QStringLiteral("COM3"));
    QCOMPARE(port->baudRate(QSerialPort::Input), 9600);
    QCOMPARE(port->baudRate(QSerialPort::Output), 9600);
    QVERIFY(!port->open(QIODevice::ReadWrite));
    QVERIFY(port->isOpen());
    QCOMPARE(port->bytesAvailable(), 0);
    QCOMPARE(port->readAll(), QByteArray());
    QVERIFY(!port->waitForReadyRead(1));
    QCOMPARE(port->write("answer"), -1);
    QVERIFY(script->feed("ab"));
    QVERIFY(port->waitForReadyRead(1));
    QCOMPARE(port->bytesAvailable(), 2);
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 1 command was not handled any more");
    port->close();
    QVERIFY(!port->isOpen());
    QCOMPARE(port->bytesAvailable(), 0);
    port->close();
    QCOMPARE(script->get(&PortScript::alive), 0);
}

void TestControllerLine::eachDeliveryHasATurn() {
    openLine();
    QVERIFY(script->feed("TRIGGER"));
    QVERIFY(script->feed("GAIN 1"));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(received, QByteArrayList());
    QCoreApplication::sendPostedEvents(line.get());
    QCOMPARE(received, QByteArrayList{"TRIGGER"});
    QCoreApplication::sendPostedEvents(line.get());
    QCOMPARE(received, (QByteArrayList{"TRIGGER", "GAIN 1"}));
    QCoreApplication::sendPostedEvents(line.get());
    QCOMPARE(received, (QByteArrayList{"TRIGGER", "GAIN 1", "SAVE"}));
    QCOMPARE(line->bytesAvailable(), 0);
}

void TestControllerLine::nothingIsGluedWhileNobodyLooks() {
    openLine();
    std::mt19937 random(7);
    QByteArrayList sent;
    for (int i = 0; i < 900; ++i) {
        QByteArray bytes(1 + static_cast<int>(random() % 60), '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        sent.append(bytes);
        QVERIFY(script->feed(bytes));
    }
    QCOMPARE(waitForReceived(sent.size()), sent);
    QCOMPARE(problems, QStringList());
}

void TestControllerLine::largeDeliveryComesWhole() {
    openLine();
    const QByteArray large = QByteArray(32768, 'x') + QByteArray(32768, 'y') + "z";
    QVERIFY(script->feed(large));
    QVERIFY(script->feed(large.left(32768)));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(waitForReceived(3), (QByteArrayList{large, large.left(32768), "SAVE"}));
}

/// Whoever looks between two turns gets the oldest, and it does not come again.
void TestControllerLine::readWithoutBeingAnnounced() {
    openLine();
    for (const char* bytes : {"1", "22", "333"})
        QVERIFY(script->feed(bytes));
    QCOMPARE(line->bytesAvailable(), 1);
    QCOMPARE(line->readAll(), QByteArray("1"));
    QCOMPARE(line->bytesAvailable(), 2);
    QCOMPARE(line->readAll(), QByteArray("22"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"333"});
    QVERIFY(script->feed("4"));
    QCOMPARE(line->readAll(), QByteArray("4"));
    QCoreApplication::processEvents();
    QCOMPARE(received, QByteArrayList{"333"});
    QVERIFY(script->feed("5"));
    QCOMPARE(waitForReceived(2), (QByteArrayList{"333", "5"}));
}

void TestControllerLine::unreadDeliveryStays() {
    makeLine();
    int announced = 0;
    connect(line.get(), &QSerialPort::readyRead, this, [&] { ++announced; });
    QVERIFY(line->openLine());
    QVERIFY(script->feed("first"));
    QVERIFY(script->feed("second"));
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCOMPARE(announced, 1);
    QVERIFY(script->feed("third"));
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCOMPARE(announced, 1);
    QCOMPARE(line->readAll(), QByteArray("first"));
    QTRY_COMPARE_WITH_TIMEOUT(announced, 2, kWait);
    QCOMPARE(line->readAll(), QByteArray("second"));
    QTRY_COMPARE_WITH_TIMEOUT(announced, 3, kWait);
    QCOMPARE(line->readAll(), QByteArray("third"));
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCOMPARE(announced, 3);
}

void TestControllerLine::readInPieces() {
    makeLine();
    connect(line.get(), &QSerialPort::readyRead, this, [&] { received.append(line->read(3)); });
    QVERIFY(line->openLine());
    QVERIFY(script->feed("GAIN 1"));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"GAI"});
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCOMPARE(received.size(), 1);
    QCOMPARE(line->bytesAvailable(), 3);
    QCOMPARE(line->read(10), QByteArray("N 1"));
    QCOMPARE(line->bytesAvailable(), 4);
    QCOMPARE(line->readAll(), QByteArray("SAVE"));
}

/// A box that is up while one is handled: the others are handled meanwhile, in order.
void TestControllerLine::nestedLoopGoesOn() {
    makeLine();
    QEventLoop box;
    QByteArrayList handled;
    connect(line.get(), &QSerialPort::readyRead, this, [&] {
        received.append(line->readAll());
        const QByteArray mine = received.last();
        if (mine == "TRIGGER")
            box.exec();
        handled.append(mine);
        if (mine == "3")
            box.quit();
    });
    QVERIFY(line->openLine());
    for (const char* bytes : {"TRIGGER", "1", "2", "3", "4"})
        QVERIFY(script->feed(bytes));
    QCOMPARE(waitForReceived(5), (QByteArrayList{"TRIGGER", "1", "2", "3", "4"}));
    QCOMPARE(handled, (QByteArrayList{"1", "2", "3", "TRIGGER", "4"}));
}

void TestControllerLine::tooManyAtOnce() {
    openLine();
    for (int i = 0; i < 1500; ++i)
        QVERIFY(script->feed(QByteArray::number(i)));
    const QByteArray all("Serial port COM3: 500 commands lost, too many at once");
    QTest::ignoreMessage(QtWarningMsg, all.constData());
    (void)waitForReceived(1000);
    QCoreApplication::processEvents();
    QCOMPARE(received.size(), 1000);
    for (int i = 0; i < 1000; ++i)
        QCOMPARE(received[i], QByteArray::number(i));
    QCOMPARE(problems, QStringList{QString::fromLatin1(all)});
    // Seen until the next one that comes when all that is over.
    QVERIFY(script->feed("next"));
    QCOMPARE(waitForReceived(1001).last(), QByteArray("next"));
    QCOMPARE(problems, (QStringList{QString::fromLatin1(all), QString()}));
}

void TestControllerLine::oneTooMany() {
    openLine();
    for (int i = 0; i < 1001; ++i)
        QVERIFY(script->feed("x"));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 1 commands lost, too many at once");
    QCoreApplication::sendPostedEvents(line.get());
    QCOMPARE(problems.value(0), QStringLiteral("Serial port COM3: 1 command lost, too many at once"));
    // While they are worked off, more are lost: said at once, in the log when it is over.
    QVERIFY(script->feed("x"));
    QVERIFY(script->feed("x"));
    QVERIFY(script->feed("x"));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 3 commands lost, too many at once");
    QCOMPARE(waitForReceived(1001).size(), 1001);
    QCOMPARE(problems.size(), 2);
    QCOMPARE(problems.last(), QStringLiteral("Serial port COM3: 3 commands lost, too many at once"));
}

/// What the systems say of a port that is pulled: on Windows also that there is no access to it, or none.
void TestControllerLine::lostAndBack_data() {
    QTest::addColumn<int>("error");
    QTest::newRow("resource") << int(QSerialPort::ResourceError);
    QTest::newRow("read") << int(QSerialPort::ReadError);
    QTest::newRow("permission") << int(QSerialPort::PermissionError);
    QTest::newRow("no device") << int(QSerialPort::DeviceNotFoundError);
}

void TestControllerLine::lostAndBack() {
    QFETCH(int, error);
    openLine();
    script->set([&] { script->isMissing = true; });
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
    script->pull(static_cast<QSerialPort::SerialPortError>(error));
    QTRY_VERIFY_WITH_TIMEOUT(!line->isOpen(), kWait);
    QCOMPARE(problems, QStringList{QStringLiteral("Serial port COM3 lost: pulled out")});
    QCOMPARE(line->errorString(), problems[0]);
    QVERIFY(script->waitFor([&] { return script->openings == 3; }));
    QVERIFY(!line->isOpen());
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is back");
    script->set([&] { script->isMissing = false; });
    QTRY_VERIFY_WITH_TIMEOUT(line->isOpen(), kWait);
    QCOMPARE(problems, (QStringList{QStringLiteral("Serial port COM3 lost: pulled out"), QString()}));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"SAVE"});
    QCOMPARE(script->get(&PortScript::openings), 4);
}

void TestControllerLine::whatCameBeforeTheLossIsHandled() {
    openLine();
    QVERIFY(script->feed("1"));
    QVERIFY(script->feed("2"));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is back");
    script->pull();
    QVERIFY(script->waitFor([&] { return script->openings == 2; }));
    QVERIFY(script->feed("3"));
    QCOMPARE(waitForReceived(3), (QByteArrayList{"1", "2", "3"}));
    QVERIFY(line->isOpen());
}

/// The line stays open for whoever is at work with it; the loss is told meanwhile.
void TestControllerLine::lostWhileHandling() {
    makeLine();
    bool wasOpen = false;
    connect(line.get(), &QSerialPort::readyRead, this, [&] {
        received.append(line->readAll());
        QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
        script->set([&] { script->isMissing = true; });
        script->pull();
        QTRY_COMPARE_WITH_TIMEOUT(problems.size(), 1, kWait);
        wasOpen = line->isOpen();
    });
    QVERIFY(line->openLine());
    QVERIFY(script->feed("TRIGGER"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"TRIGGER"});
    QTRY_VERIFY_WITH_TIMEOUT(!line->isOpen(), kWait);
    QVERIFY(wasOpen);
}

void TestControllerLine::lostAndBackWhileHandling() {
    makeLine();
    QSignalSpy closing(line.get(), &QIODevice::aboutToClose);
    connect(line.get(), &QSerialPort::readyRead, this, [&] {
        received.append(line->readAll());
        if (received.last() != "TRIGGER")
            return;
        QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
        script->pull();
        QTRY_COMPARE_WITH_TIMEOUT(problems.size(), 1, kWait);
        QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is back");
        QTRY_COMPARE_WITH_TIMEOUT(problems.size(), 2, kWait);
        QVERIFY(script->feed("SAVE"));
        QTRY_COMPARE_WITH_TIMEOUT(received.size(), 2, kWait);
    });
    QVERIFY(line->openLine());
    QVERIFY(script->feed("TRIGGER"));
    QCOMPARE(waitForReceived(2), (QByteArrayList{"TRIGGER", "SAVE"}));
    QCoreApplication::processEvents();
    QVERIFY(line->isOpen());
    QCOMPARE(closing.count(), 0);
    QCOMPARE(problems.last(), QString());
}

void TestControllerLine::lineGoneWhileHandling() {
    makeLine();
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 1 command was not handled any more");
    connect(line.get(), &QSerialPort::readyRead, this, [&] {
        received.append(line->readAll());
        line.reset();
    });
    QVERIFY(line->openLine());
    QVERIFY(script->feed("TRIGGER"));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"TRIGGER"});
    QCoreApplication::processEvents();
    QCOMPARE(received.size(), 1);
}

void TestControllerLine::missingAtTheStart() {
    makeLine();
    script->isMissing = true;
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 not opened: nothing there");
    QVERIFY(!line->openLine());
    QVERIFY(!line->isOpen());
    QCOMPARE(line->errorString(), QStringLiteral("nothing there"));
    QCOMPARE(problems, QStringList{QStringLiteral("Serial port COM3 not opened: nothing there")});
    // Nobody is left who could try again.
    QCOMPARE(script->get(&PortScript::alive), 0);
    QCOMPARE(script->get(&PortScript::openings), 1);
}

void TestControllerLine::missingAtTheStartAndTriedAgain() {
    makeLine();
    connect(line.get(), &QSerialPort::readyRead, this, [&] { received.append(line->readAll()); });
    script->isMissing = true;
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 not opened: nothing there");
    QVERIFY(!line->openLine(true));
    QVERIFY(!line->isOpen());
    QCOMPARE(line->errorString(), QStringLiteral("nothing there"));
    QVERIFY(script->waitFor([&] { return script->openings == 2; }));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is open now");
    script->set([&] { script->isMissing = false; });
    QTRY_VERIFY_WITH_TIMEOUT(line->isOpen(), kWait);
    QCOMPARE(problems,
             (QStringList{QStringLiteral("Serial port COM3 not opened: nothing there"), QString()}));
    QVERIFY(script->feed("SAVE"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"SAVE"});
    // From then on it is a port that has been there.
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is back");
    script->pull();
    QTRY_COMPARE_WITH_TIMEOUT(problems.size(), 4, kWait);
}

#ifdef Q_OS_LINUX
/// The system has no memory for one more thread.
void TestControllerLine::noThreadToBeHad() {
    pthread_attr_t before;
    pthread_attr_t larger;
    QCOMPARE(pthread_getattr_default_np(&before), 0);
    QCOMPARE(pthread_getattr_default_np(&larger), 0);
    QCOMPARE(pthread_attr_setstacksize(&larger, size_t(1) << 46), 0);
    QCOMPARE(pthread_setattr_default_np(&larger), 0);
    makeLine();
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^QThread::start: ")));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 not opened: No thread");
    const bool isOpen = line->openLine();
    QCOMPARE(pthread_setattr_default_np(&before), 0);
    QVERIFY(!isOpen);
    QCOMPARE(problems, QStringList{QStringLiteral("Serial port COM3 not opened: No thread")});
    QCOMPARE(script->get(&PortScript::openings), 0);
    // Later there is one.
    QVERIFY(line->openLine());
}
#endif

void TestControllerLine::problemOfTheLineGoesFirst() {
    openLine();
    for (int i = 0; i < 1002; ++i)
        QVERIFY(script->feed("x"));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 2 commands lost, too many at once");
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 is back");
    script->set([&] { script->isMissing = true; });
    script->pull();
    QTRY_VERIFY_WITH_TIMEOUT(!line->isOpen(), kWait);
    QCOMPARE(received.size(), 1000);
    const QString lost = QStringLiteral("Serial port COM3: 2 commands lost, too many at once");
    QCOMPARE(problems, (QStringList{lost, QStringLiteral("Serial port COM3 lost: pulled out")}));
    script->set([&] { script->isMissing = false; });
    QTRY_VERIFY_WITH_TIMEOUT(line->isOpen(), kWait);
    QCOMPARE(problems.last(), lost);
    QVERIFY(script->feed("x"));
    QTRY_COMPARE_WITH_TIMEOUT(problems.last(), QString(), kWait);
}

void TestControllerLine::closingDropsWhatWaits() {
    openLine();
    for (const char* bytes : {"1", "2", "3"})
        QVERIFY(script->feed(bytes));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 3 commands were not handled any more");
    line->close();
    QCOMPARE(script->get(&PortScript::alive), 0);
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    QCOMPARE(received, QByteArrayList());
    QCOMPARE(line->bytesAvailable(), 0);
}

void TestControllerLine::opensAgain() {
    openLine();
    QVERIFY(script->feed("1"));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3: 1 command was not handled any more");
    line->close();
    QVERIFY(line->open(QIODevice::ReadWrite));
    QVERIFY(script->feed("2"));
    QCOMPARE(waitForReceived(1), QByteArrayList{"2"});
    QCOMPARE(script->get(&PortScript::openings), 2);
}

void TestControllerLine::endsWhileItIsAway() {
    openLine();
    script->set([&] { script->isMissing = true; });
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 lost: pulled out");
    script->pull();
    QTRY_VERIFY_WITH_TIMEOUT(!line->isOpen(), kWait);
    line.reset();
    QCOMPARE(script->get(&PortScript::alive), 0);
}

/// The driver answers while the end waits for it.
void TestControllerLine::endsWhileItTriesToOpen() {
    openLine();
    script->set([&] { script->isStuck = true; });
    script->pull();
    QVERIFY(script->waitFor([&] { return script->openings == 2; }));
    std::thread driver([&] {
        QThread::msleep(300);
        script->set([&] { script->isStuck = false; });
    });
    // It gets the port back, and nobody hears of it any more.
    line.reset();
    QCOMPARE(script->get(&PortScript::alive), 0);
    driver.join();
    QCoreApplication::processEvents();
    QCOMPARE(problems, QStringList());
}

void TestControllerLine::doesNotWaitForAStuckDriver() {
    openLine();
    script->set([&] { script->isStuck = true; });
    script->pull();
    QVERIFY(script->waitFor([&] { return script->openings == 2; }));
    QTest::ignoreMessage(QtWarningMsg, "Serial port COM3 does not answer and is left open");
    line.reset();
    QCOMPARE(script->get(&PortScript::alive), 1);
    // It comes back after all: its port is closed, and nothing is left.
    script->set([&] { script->isStuck = false; });
    QVERIFY(script->waitFor([&] { return script->alive == 0; }));
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestControllerLine)
#include "tst_controllerline.moc"
