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

private:
    static bool runUntilDone(const QString& program, const QStringList& arguments);
};

/// Runs another program while this one's windows stay alive.
bool TestMessages::runUntilDone(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    return QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kWait) &&
           process.exitCode() == 0;
}

void TestMessages::registeredMessageIsCounted() {
    WindowUnderTest window;
    window.start();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    const QString id = QString::number(window->winId());
    for (int number = 0; number < 3; ++number) {
        QVERIFY(runUntilDone(QStringLiteral(SEND_MESSAGE), {id}));
        QTRY_COMPARE(window.leftText(), QStringLiteral("%1 WM_USERDEFMSG received.").arg(number));
    }
}

void TestMessages::foreignMessageIsIgnored() {
    WindowUnderTest window;
    window.start();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    const QString before = window.leftText();
    QVERIFY(runUntilDone(QStringLiteral(SEND_MESSAGE),
                         {QString::number(window->winId()), QStringLiteral("OTHER")}));
    QVERIFY(runUntilDone(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("ctrl+e")}));
    QCOMPARE(window.leftText(), before);
}

void TestMessages::hotkeyIsRegisteredAndSaves() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Type"), 2);
    window.start();
    QVERIFY(window.answerer.boxes.isEmpty());
    QVERIFY(window.waitForTiles(2));
    QVERIFY(runUntilDone(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("ctrl+w")}));
    QTRY_VERIFY(window.leftText().startsWith(QLatin1String("Saved image ./snapshot-")));
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

TEST_ON_DESKTOP_MAIN(TestMessages)
#include "tst_messages.moc"
