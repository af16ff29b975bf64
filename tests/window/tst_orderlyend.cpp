// SPDX-License-Identifier: Apache-2.0
#include <QDialog>
#include <QElapsedTimer>

#include "app/orderlyend.h"
#include "camera/kvcap2.h"
#include "control/controllerline.h"
#include "support/fakeport.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

#ifdef Q_OS_WIN
#include <qt_windows.h>
#endif

namespace {

/// Counts how often a window is closed.
class CloseCounter : public QObject {
public:
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Close ? 1 : 0;
        return false;
    }
};

QStringList freed() {
    return recording::callsButFrames().filter(QStringLiteral("CameraFree"));
}

const QStringList kBothFreed{QStringLiteral("CameraFree(0)"), QStringLiteral("CameraFree(1)")};

}  // namespace

/// The end of the window, and of the program by others than the operator, within the process. tests/desktop
/// has the signals and the lost display.
class TestOrderlyEnd : public QObject {
    Q_OBJECT

private slots:
    void init() { recording::reset(2); }
    void allIsInOrderAtOnce();
    void hangingCameraIsLeftAlone();
    void hangingCameraIsAskedAside();
    void longTimeOutIsWaitedFor();
    void noCommandsAfterwards();
    void dialogsEndToo();
    void closedWindowIsNotClosedAgain();
    void askedWhileTheWindowIsBuilt();
    void nothingToDoAfterwards();
    void questionClosesNothing();
    void destroyedWithoutClosing();
    void streamAfterCloseStartsNothing();
    void queuedFramesAreFreed();
#ifdef Q_OS_WIN
    void sessionEnds();
#endif

private:
    /// Runs `what` in the event loop of `end`.
    static int run(OrderlyEnd& end, const WindowUnderTest& window, const std::function<void()>& what) {
        QTimer::singleShot(0, window.get(), [&] {
            what();
            if (QTest::currentTestFailed())
                QApplication::exit(-1);
        });
        return end.run(window.get(), window->parts());
    }
    static bool isOneRunning(const WindowUnderTest& window) {
        const auto threads = window->findChildren<CaptureThread*>();
        return std::any_of(threads.begin(), threads.end(),
                           [](const auto* thread) { return thread->isRunning(); });
    }
};

/// Threads ended, cameras freed, settings on disk, when the call returns.
void TestOrderlyEnd::allIsInOrderAtOnce() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    bool isDone = false;
    const int code = run(end, window, [&] {
        QVERIFY(isOneRunning(window));
        window.tiles().first()->setPos(123, 45);
        window->savePos({});
        QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X0")) != QLatin1String("123"));
        end.endNow();
        QVERIFY(!isOneRunning(window));
        QCOMPARE(freed(), kBothFreed);
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X0")), QStringLiteral("123"));
        QVERIFY(window->isVisible());
        end.endNow();
        isDone = true;
        QApplication::exit(7);
    });
    QVERIFY(isDone);
    QCOMPARE(code, 7);
    window.end();
    QCOMPARE(freed(), kBothFreed);
}

void TestOrderlyEnd::hangingCameraIsLeftAlone() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    recording::Camera hanging;
    hanging.holdQueries = true;
    recording::setCamera(0, hanging);
    QTRY_VERIFY(recording::queriesUnderWay() > 0);
    run(end, window, [&] {
        end.endNow();
        QCOMPARE(freed(), QStringList{QStringLiteral("CameraFree(1)")});
        QApplication::exit(0);
    });
    recording::releaseQueries();
    window.end();
    QCOMPARE(freed().size(), 1);
}

/// The camera's own time-out counts, which the settings dialog may have changed meanwhile.
void TestOrderlyEnd::longTimeOutIsWaitedFor() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Control/Timeout"), 50);
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    QCOMPARE(CameraSetTimeout(1, 2500), 0);
    recording::Camera slow;
    slow.queryDelay = 2500;
    slow.queryStatus = -4;
    recording::setCamera(1, slow);
    recording::forgetCalls();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 20);
    run(end, window, [&] {
        end.endNow();
        QCOMPARE(freed(), kBothFreed);
        QApplication::exit(0);
    });
}

/// A library may let nobody at a camera while it waits for its frame. Nobody waits for an answer before all
/// threads are told to end.
void TestOrderlyEnd::hangingCameraIsAskedAside() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    recording::Camera hanging;
    hanging.holdQueries = true;
    hanging.holdGetters = true;
    recording::setCamera(0, hanging);
    QTRY_VERIFY(recording::queriesUnderWay() > 0);
    recording::forgetCalls();
    QStringList freedThen;
    int owed = 0;
    run(end, window, [&] {
        end.endNow();
        freedThen = freed();
        owed = recording::gettersUnderWay();
        QApplication::exit(0);
    });
    recording::releaseQueries();  // before anything that may fail: the window waits for them
    QCOMPARE(freedThen, QStringList{QStringLiteral("CameraFree(1)")});
    QCOMPARE(owed, 1);
    int asked = 0;
    int queries = 0;
    const auto calls = recording::calls();
    for (const recording::Call& call : calls) {
        if (call.operation == QLatin1String("CameraGetTimeout")) {
            ++asked;
            QVERIFY(!call.onGuiThread);
        } else if (asked > 0 && call.operation == QLatin1String("CameraQueryImage")) {
            ++queries;
        }
    }
    QCOMPARE(asked, 2);
    QVERIFY2(queries <= 2, qPrintable(QString::number(queries)));
    window.end();
    QCOMPARE(freed().size(), 1);
}

/// After the end of a Windows session there are messages still.
void TestOrderlyEnd::noCommandsAfterwards() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    const auto script = std::make_shared<PortScript>();
    ControllerLine line(QStringLiteral("COM3"), nullptr,
                        [&](const QString& name) { return std::make_unique<FakePort>(name, script); });
    QVERIFY(line.openLine());
    int commands = 0;
    connect(&line, &QSerialPort::readyRead, this, [&] {
        line.readAll();
        ++commands;
    });
    QTimer::singleShot(0, window.get(), [&] {
        QVERIFY(script->feed("t"));
        QTRY_COMPARE(commands, 1);
        QVERIFY(script->feed("t"));
        end.endNow();
        QVERIFY(!line.isOpen());
        QCOMPARE(script->get(&PortScript::alive), 0);
        QTimer::singleShot(50, window.get(), [] { QApplication::exit(4); });
    });
    OrderlyEnd::Parts parts = window->parts();
    QVERIFY(!parts.line);
    parts.line = &line;
    QCOMPARE(end.run(window.get(), parts), 4);
    QCOMPARE(commands, 1);
}

/// A menu or a box has an event loop of its own, and so has what comes up above it.
void TestOrderlyEnd::dialogsEndToo() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    CloseCounter counter;
    window->installEventFilter(&counter);
    QStringList order;
    const int code = run(end, window, [&] {
        QDialog outer(window.get());
        QTimer::singleShot(0, &outer, [&] {
            QDialog inner(&outer);
            QTimer::singleShot(0, &inner, [&] {
                end.endInOrder();
                end.endInOrder();
                QVERIFY(!isOneRunning(window));
            });
            QCOMPARE(inner.exec(), int(QDialog::Rejected));
            order.append(QStringLiteral("inner"));
        });
        QCOMPARE(outer.exec(), int(QDialog::Rejected));
        order.append(QStringLiteral("outer"));
        // Whoever asks on the way out gets no answer, and does not wait for one.
        QDialog late(window.get());
        QCOMPARE(late.exec(), int(QDialog::Rejected));
    });
    QCOMPARE(code, 0);
    QCOMPARE(order, (QStringList{QStringLiteral("inner"), QStringLiteral("outer")}));
    QCOMPARE(counter.count, 1);
    QVERIFY(freed().isEmpty());
    window.end();
    QCOMPARE(freed(), kBothFreed);
}

void TestOrderlyEnd::closedWindowIsNotClosedAgain() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    CloseCounter counter;
    window->installEventFilter(&counter);
    const int code = run(end, window, [&] {
        window->close();
        end.endInOrder();
    });
    QCOMPARE(code, 0);
    QCOMPARE(counter.count, 1);
}

void TestOrderlyEnd::askedWhileTheWindowIsBuilt() {
    WindowUnderTest window;
    OrderlyEnd end;
    end.endInOrder();
    window.start();
    const int code = run(end, window, [] { QFAIL("It runs"); });
    QCOMPARE(code, 0);
    QVERIFY(!window->isVisible());
    window.end();
    QCOMPARE(freed(), kBothFreed);
}

void TestOrderlyEnd::nothingToDoAfterwards() {
    WindowUnderTest window;
    OrderlyEnd end;
    end.endNow();
    window.start();
    end.endNow();
    QVERIFY(window.waitForTiles(2));
    QCOMPARE(run(end, window, [] { QApplication::exit(3); }), 3);
    end.endNow();
    QVERIFY(freed().isEmpty());
    QVERIFY(isOneRunning(window));
}

/// Whether a session may end is asked of everybody first, and anybody may say no. By itself Qt would close
/// all windows at the question.
void TestOrderlyEnd::questionClosesNothing() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    QVERIFY(!QGuiApplication::isFallbackSessionManagementEnabled());
}

void TestOrderlyEnd::destroyedWithoutClosing() {
    recording::reset(4);
    auto answerer = std::make_unique<BoxAnswerer>();
    const WorkingFolder folder;
    auto window = std::make_unique<MainWindow>(nullptr);
    window->streamVideo();
    QTRY_VERIFY(!recording::callsOf(QStringLiteral("CameraQueryImage")).isEmpty());
    window.reset();
    QCOMPARE(recording::calls().last().text(), QStringLiteral("CameraFree(3)"));
}

void TestOrderlyEnd::streamAfterCloseStartsNothing() {
    recording::reset(4);
    WindowUnderTest window;
    window.start();
    QVERIFY(window->close());
    recording::forgetCalls();
    window->sizeWindow();
    const auto threads = window->findChildren<CaptureThread*>();
    QCOMPARE(threads.size(), 4);
    for (auto* thread : threads)
        QVERIFY(!thread->isRunning());
    QVERIFY(recording::calls().isEmpty());
}

void TestOrderlyEnd::queuedFramesAreFreed() {
    recording::reset(4);
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(4));
    // Frames of a blocked event loop: still queued when the window goes. The leak check is the judge of the
    // buffers.
    const int before = recording::callsOf(QStringLiteral("CameraQueryImage")).size();
    QElapsedTimer limit;
    limit.start();
    while (recording::callsOf(QStringLiteral("CameraQueryImage")).size() < before + 20 &&
           limit.elapsed() < kWait)
        QThread::msleep(1);
    QVERIFY(limit.elapsed() < kWait);
    window.end();
}

#ifdef Q_OS_WIN
/// The question changes nothing, for the session may stay; the end is complete when its message is answered.
void TestOrderlyEnd::sessionEnds() {
    WindowUnderTest window;
    OrderlyEnd end;
    window.start();
    QVERIFY(window.waitForTiles(2));
    const auto handle = reinterpret_cast<HWND>(window->winId());
    run(end, window, [&] {
        QVERIFY(SendMessageW(handle, WM_QUERYENDSESSION, 0, 0) != 0);
        QVERIFY(window->isVisible());
        QVERIFY(isOneRunning(window));
        SendMessageW(handle, WM_ENDSESSION, FALSE, 0);
        QVERIFY(isOneRunning(window));
        QVERIFY(freed().isEmpty());
        QVERIFY(SendMessageW(handle, WM_QUERYENDSESSION, 0, 0) != 0);
        window.tiles().first()->setPos(123, 45);
        window->savePos({});
        SendMessageW(handle, WM_ENDSESSION, TRUE, 0);
        QVERIFY(!isOneRunning(window));
        QCOMPARE(freed(), kBothFreed);
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X0")), QStringLiteral("123"));
    });
    window.end();
    QCOMPARE(freed(), kBothFreed);
}
#endif

QTEST_MAIN(TestOrderlyEnd)
#include "tst_orderlyend.moc"
