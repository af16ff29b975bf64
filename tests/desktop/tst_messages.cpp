// SPDX-License-Identifier: Apache-2.0
#include <QMenu>

#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/recordingcamera.h"

/// Native messages at the main window, sent by another process and by the keyboard of a real desktop.
class TestMessages : public QObject {
    Q_OBJECT

private slots:
    void init() { recording::reset(2); }
    void registeredMessageIsCounted();
    void foreignMessageIsIgnored();
    void hotkeyIsRegisteredAndSaves();
    void contextMenuHoldsFullScreen();
#ifdef Q_OS_WIN
    void messageByTitleIsCountedOnce();
    void hotkeyInAnotherProgramSavesOnce();
#endif
};

void TestMessages::registeredMessageIsCounted() {
    WindowUnderTest window;
    window.start();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    const QString id = QString::number(window->winId());
    for (int number = 0; number < 3; ++number) {
        QVERIFY(runBeside(QStringLiteral(SEND_MESSAGE), {id}));
        QTRY_COMPARE_WITH_TIMEOUT(window.leftText(), QStringLiteral("%1 WM_USERDEFMSG received.").arg(number),
                                  kWait);
    }
}

void TestMessages::foreignMessageIsIgnored() {
    WindowUnderTest window;
    window.start();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    const QString before = window.leftText();
    QVERIFY(
        runBeside(QStringLiteral(SEND_MESSAGE), {QString::number(window->winId()), QStringLiteral("OTHER")}));
    QVERIFY(pressKeys(QStringLiteral("ctrl+e")));
    QCOMPARE(window.leftText(), before);
}

void TestMessages::hotkeyIsRegisteredAndSaves() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Type"), 2);
    window.start();
    QVERIFY(window.answerer.boxes.isEmpty());
    QVERIFY(window.waitForTiles(2));
    QVERIFY(pressKeys(QStringLiteral("ctrl+w")));
    QTRY_VERIFY_WITH_TIMEOUT(window.leftText().startsWith(QLatin1String("Saved image ./snapshot-")), kWait);
    QCOMPARE(QDir().entryList({QStringLiteral("snapshot-*.png")}).size(), 1);
    window.end();
    // Given back at the end: the next window gets it.
    WindowUnderTest next;
    next.start();
    QVERIFY(next.answerer.boxes.isEmpty());
}

void TestMessages::contextMenuHoldsFullScreen() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    QStringList entries;
    QTimer::singleShot(0, window.get(), [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QVERIFY(menu);
        for (QAction* action : menu->actions())
            entries.append(action->objectName());
        menu->close();
    });
    QVERIFY(QMetaObject::invokeMethod(window.get(), "on_gvMain_customContextMenuRequested",
                                      Q_ARG(QPoint, QPoint(5, 5))));
    QCOMPARE(entries,
             (QStringList{QStringLiteral("actionFull_screen"), QStringLiteral("actionExit_full_screen")}));
}

#ifdef Q_OS_WIN
/// As a program does that knows no more of the window than its title. The message is counted in one of the
/// several places where Qt shows native messages. The count is the process's, not the window's.
void TestMessages::messageByTitleIsCountedOnce() {
    WindowUnderTest window;
    window.start();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    const auto counted = [&] {
        const QString text = window.leftText();
        return text.endsWith(QLatin1String(" WM_USERDEFMSG received."))
                   ? text.section(QLatin1Char(' '), 0, 0).toInt()
                   : -1;
    };
    QVERIFY(runBeside(QStringLiteral(SEND_MESSAGE), {QString::number(window->winId())}));
    QTRY_VERIFY(counted() >= 0);
    QCoreApplication::processEvents();
    const int before = counted();
    const QString title = window->windowTitle();
    QVERIFY(!title.isEmpty());
    QVERIFY(!runBeside(QStringLiteral(SEND_MESSAGE), {title + QStringLiteral(" of another name")}));
    QCOMPARE(counted(), before);
    QVERIFY(runBeside(QStringLiteral(SEND_MESSAGE), {title}));
    QTRY_VERIFY(counted() > before);
    QCoreApplication::processEvents();
    QCOMPARE(counted(), before + 1);
}

/// The key is the whole desktop's: it saves once, and the program that has the keyboard never hears it.
void TestMessages::hotkeyInAnotherProgramSavesOnce() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Type"), 2);
    window.start();
    QVERIFY(window.answerer.boxes.isEmpty());
    QVERIFY(window.waitForTiles(2));
    QVERIFY(QTest::qWaitForWindowActive(window.get(), kWait));
    QVERIFY(
        runBeside(QStringLiteral(PRESS_KEYS), {QStringLiteral("--own-window"), QStringLiteral("ctrl+w")}));
    QTRY_VERIFY_WITH_TIMEOUT(window.leftText().startsWith(QLatin1String("Saved image ./snapshot-")), kWait);
    QCoreApplication::processEvents();
    QCOMPARE(QDir().entryList({QStringLiteral("snapshot-*.png")}).size(), 1);
}
#endif

TEST_ON_DESKTOP_MAIN(TestMessages)
#include "tst_messages.moc"
