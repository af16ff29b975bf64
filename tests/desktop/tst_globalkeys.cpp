// SPDX-License-Identifier: Apache-2.0
// The desktop-wide hot key and the window message, with real key presses while another program has the
// keyboard.

#include "desktop/keywindow.h"
#include "support/runningbivista.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

// Lock bits of an X event's state.
constexpr int kCapsLock = 2;
constexpr int kNumLock = 16;

// Key codes of places on the keyboard.
constexpr int kUsW = 25;  // Z on a French keyboard
constexpr int kUsZ = 52;  // W on a French keyboard
constexpr int kControl = 37;
constexpr int kMenu = 135;
constexpr int kX = 53;

}  // namespace

class TestGlobalKeys : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void firesWhileAnotherProgramHasTheKeyboard();
    void firesOncePerPress();
    void firesInItsOwnWindow();
    void firesWithLocks_data();
    void firesWithLocks();
    void otherKeysPass_data();
    void otherKeysPass();
    void heldKeyFiresOnce();
    void registeringTwiceIsOne();
    void unregisteringGivesTheKeyBack();
    void secondProgramIsRefused();
    void killedProgramGivesTheKeyBack();
    void destroyedWindowGivesTheKeyBack();
    void followsTheLayout();
    void followsTheGroup();
    void layoutWithoutW();
    void keymapWithoutW();
    void noKeyWithoutW();
    void lostAnswerAboutTheKeymap();
    void noKeyWithoutAnAnswer();
    void messageFromAnotherProcess();
    void messageWithoutHotkey();
    void otherMessagesPass();
    void leavesNoLineInTheLog();
    void serverEnds();
    void screenshotShowsTheDesktop();

private:
    void setLayout(const QStringList& arguments);
    void onlyOtherSees(const QVector<int>& codes, const QString& report);
    bool pressUntilReported(const QVector<int>& codes);
    bool send(quint32 window, const QString& name = QStringLiteral("KV CAMERA"));
    bool registers(Window& window);

    std::unique_ptr<XServer> server_;
    std::unique_ptr<Window> ours_;   // has registered the hot key
    std::unique_ptr<Window> other_;  // has the keyboard
};

void TestGlobalKeys::initTestCase() {
    server_ = std::make_unique<XServer>();
    QVERIFY2(server_->start(), qPrintable(server_->errorString()));
}

void TestGlobalKeys::init() {
    ours_ = std::make_unique<Window>(*server_, "Ours");
    QVERIFY2(ours_->id != 0, ours_->whyNoWindow().constData());
    QVERIFY(registers(*ours_));
    other_ = std::make_unique<Window>(*server_, "Other");
    QVERIFY2(other_->id != 0, other_->whyNoWindow().constData());
    QVERIFY(server_->activate(other_->id));
    // Not only the window manager's word: a key really arrives there.
    onlyOtherSees({kX}, "key X");
    QCOMPARE(server_->modifiers(), 0);
}

/// The programs end by themselves, so that the sanitizers they are built with can say what they found. A test
/// that failed may leave locks, held keys and layouts behind: the next one gets a new desktop.
void TestGlobalKeys::cleanup() {
    if (QTest::currentTestFailed()) {
        ours_.reset();
        other_.reset();
        initTestCase();
        return;
    }
    for (auto* window : {&ours_, &other_}) {
        if ((*window)->program.isRunning()) {
            (*window)->program.write("quit");
            QVERIFY((*window)->program.waitForEnd());
            QVERIFY2((*window)->program.exitCode() == 0, (*window)->program.errors().constData());
        }
        window->reset();
    }
    QVERIFY(server_->waitForNoWindow("Ours"));
    QVERIFY(server_->waitForNoWindow("Other"));
}

void TestGlobalKeys::setLayout(const QStringList& arguments) {
    const XServer::Outcome outcome = server_->run("setxkbmap", arguments);
    QVERIFY2(outcome.ok, outcome.errors.constData());
    QVERIFY(server_->settle());
}

/// Presses again and again until the hot key was reported: there is no telling from outside when a program
/// has taken notice of another layout.
bool TestGlobalKeys::pressUntilReported(const QVector<int>& codes) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < kDesktopLimit)
        if (!server_->pressPlaces(codes))
            return false;
        else if (ours_->reports().contains("hotkey"))
            return true;
    return false;
}

/// These keys reach the window that has the keyboard, as this report, and never the hot key. Pressed until
/// they do: after a change of the layout the window manager sets itself up anew, and for a moment another
/// window has the keyboard, or none.
void TestGlobalKeys::onlyOtherSees(const QVector<int>& codes, const QString& report) {
    other_->reports();
    QStringList others;
    QElapsedTimer timer;
    timer.start();
    do {
        QVERIFY(server_->pressPlaces(codes));
        QVERIFY(!ours_->reports().contains("hotkey"));
        others += other_->reports();
    } while (!others.contains(report) && timer.elapsed() < kDesktopLimit);
    QVERIFY2(others.contains(report), qPrintable(QStringList(others.mid(0, 9)).join(", ")));
}

bool TestGlobalKeys::send(quint32 window, const QString& name) {
    return server_->run(QStringLiteral(SEND_MESSAGE), {QString::number(window), name}).ok;
}

/// Registers as soon as it can: the server learns a moment later that the key's owner has gone.
bool TestGlobalKeys::registers(Window& window) {
    QElapsedTimer timer;
    timer.start();
    QString answer;
    do
        answer = window.doRegister();
    while (answer == "refused" && timer.elapsed() < kDesktopLimit);
    return answer == "registered";
}

void TestGlobalKeys::firesWhileAnotherProgramHasTheKeyboard() {
    QCOMPARE(server_->activeWindow(), other_->id);
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->program.waitForLine("hotkey"), QStringList{"hotkey"});
    QCOMPARE(server_->activeWindow(), other_->id);
    // The other program sees Ctrl go down, and nothing of the W.
    QVERIFY(!other_->reports().join(' ').contains('W'));
}

void TestGlobalKeys::firesOncePerPress() {
    for (int press = 0; press < 5; ++press)
        QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), (QStringList{"hotkey", "hotkey", "hotkey", "hotkey", "hotkey"}));
    // Several presses of W while Ctrl stays down.
    QVERIFY(server_->run("xdotool", {"keydown", "ctrl", "key", "w", "key", "w", "keyup", "ctrl"}).ok);
    QCOMPARE(ours_->reports(), (QStringList{"hotkey", "hotkey"}));
}

void TestGlobalKeys::firesInItsOwnWindow() {
    QVERIFY(server_->activate(ours_->id));
    QVERIFY(server_->key("ctrl+w"));
    QStringList reports = ours_->reports();
    QCOMPARE(reports.count("hotkey"), 1);
    QVERIFY(!reports.join(' ').contains('W'));
    QVERIFY(server_->key("w"));
    QCOMPARE(ours_->program.waitForLine("key W"), QStringList{"key W"});
}

void TestGlobalKeys::firesWithLocks_data() {
    QTest::addColumn<QStringList>("locks");
    QTest::addColumn<int>("state");
    QTest::newRow("Caps Lock") << QStringList{"Caps_Lock"} << kCapsLock;
    QTest::newRow("Num Lock") << QStringList{"Num_Lock"} << kNumLock;
    QTest::newRow("both") << QStringList{"Caps_Lock", "Num_Lock"} << (kCapsLock | kNumLock);
}

void TestGlobalKeys::firesWithLocks() {
    QFETCH(QStringList, locks);
    QFETCH(int, state);
    for (const QString& lock : locks)
        QVERIFY(server_->key(lock));
    QTRY_COMPARE(server_->modifiers(), state);
    QVERIFY(server_->pressPlaces({kControl, kUsW}));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
    for (const QString& lock : locks)
        QVERIFY(server_->key(lock));
    QTRY_COMPARE(server_->modifiers(), 0);
    QVERIFY(server_->pressPlaces({kControl, kUsW}));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
}

void TestGlobalKeys::otherKeysPass_data() {
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("seen");
    QTest::newRow("w") << "w"
                       << "key W";
    QTest::newRow("shift+w") << "shift+w"
                             << "key W";
    QTest::newRow("ctrl+shift+w") << "ctrl+shift+w"
                                  << "key Ctrl+W";
    QTest::newRow("ctrl+alt+w") << "ctrl+alt+w"
                                << "key Ctrl+W";
    QTest::newRow("ctrl+super+w") << "ctrl+super+w"
                                  << "key Ctrl+W";
    QTest::newRow("alt+w") << "alt+w"
                           << "key W";
    QTest::newRow("ctrl+q") << "ctrl+q"
                            << "key Ctrl+Q";
    QTest::newRow("ctrl+e") << "ctrl+e"
                            << "key Ctrl+E";
}

void TestGlobalKeys::otherKeysPass() {
    QFETCH(QString, keys);
    QFETCH(QString, seen);
    QVERIFY(server_->key(keys));
    QVERIFY(!other_->program.waitForLine(seen).isEmpty());
    QCOMPARE(ours_->reports(), QStringList{});
}

void TestGlobalKeys::heldKeyFiresOnce() {
    QVERIFY(server_->repeatKeys(true));
    // How long until a held key repeats for certain, here and now: until it did three times.
    QElapsedTimer timer;
    timer.start();
    QVERIFY(server_->keyDown("a"));
    for (int repeat = 0; repeat < 3; ++repeat)
        QVERIFY(!other_->program.waitForLine("repeat A").isEmpty());
    QVERIFY(server_->keyUp("a"));
    const int held = static_cast<int>(timer.elapsed());

    QVERIFY(server_->keyDown("ctrl"));
    QVERIFY(server_->keyDown("w"));
    QCOMPARE(ours_->program.waitForLine("hotkey"), QStringList{"hotkey"});
    QTest::qWait(held + 200);  // the one wait for nothing to happen
    QCOMPARE(ours_->reports(), QStringList{});
    QVERIFY(server_->keyUp("w"));
    QVERIFY(server_->keyUp("ctrl"));
    QVERIFY(server_->repeatKeys(false));
    QCOMPARE(ours_->reports(), QStringList{});
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
}

void TestGlobalKeys::registeringTwiceIsOne() {
    QCOMPARE(ours_->doRegister(), QString("registered"));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{});
}

void TestGlobalKeys::unregisteringGivesTheKeyBack() {
    // Somebody else's window and no window at all: nothing happens to ours.
    QCOMPARE(ours_->ask("unregister-none", {"done"}), QString("done"));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});

    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));
    QVERIFY(server_->key("ctrl+w"));
    QVERIFY(!other_->program.waitForLine("key Ctrl+W").isEmpty());
    QCOMPARE(ours_->reports(), QStringList{});
    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));

    QCOMPARE(ours_->doRegister(), QString("registered"));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
}

void TestGlobalKeys::secondProgramIsRefused() {
    QCOMPARE(other_->doRegister(), QString("refused"));
    // Having been refused, it holds none of the key's variants, and takes none from the owner.
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
    QVERIFY(!other_->reports().contains("hotkey"));

    ours_->program.write("quit");
    QVERIFY(ours_->program.waitForEnd());
    QCOMPARE(ours_->program.exitCode(), 0);
    QVERIFY(registers(*other_));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(other_->reports().count("hotkey"), 1);
}

void TestGlobalKeys::killedProgramGivesTheKeyBack() {
    ours_->program.kill();
    QVERIFY(registers(*other_));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(other_->reports().count("hotkey"), 1);
}

void TestGlobalKeys::destroyedWindowGivesTheKeyBack() {
    QCOMPARE(ours_->ask("destroy", {"done"}), QString("done"));
    QVERIFY(registers(*other_));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(other_->reports().count("hotkey"), 1);
    // There is no window of ours any more to report anything; the process goes on.
    QCOMPARE(ours_->ask("ping", {"pong"}), QString("pong"));
}

void TestGlobalKeys::followsTheLayout() {
    setLayout({"fr"});
    QVERIFY(pressUntilReported({kControl, kUsZ}));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+Z");
    QVERIFY(server_->pressPlaces({kControl, kUsZ}));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});

    setLayout({"us"});
    QVERIFY(pressUntilReported({kControl, kUsW}));
    onlyOtherSees({kControl, kUsZ}, "key Ctrl+Z");
}

/// Two layouts in one keymap: only the one in use says where W is, or Ctrl+Z of the other programs would be
/// lost.
void TestGlobalKeys::followsTheGroup() {
    setLayout({"-layout", "us,fr", "-option", "grp:menu_toggle"});
    QVERIFY(pressUntilReported({kControl, kUsW}));
    QVERIFY(server_->pressPlaces({kMenu}));
    QVERIFY(pressUntilReported({kControl, kUsZ}));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+Z");
    QVERIFY(server_->pressPlaces({kMenu}));
    QVERIFY(pressUntilReported({kControl, kUsW}));
    setLayout({"-layout", "us", "-option", ""});
    QVERIFY(pressUntilReported({kControl, kUsW}));
}

/// While a layout has no W at all, the key is where another layout of the keymap has it.
void TestGlobalKeys::layoutWithoutW() {
    setLayout({"-layout", "us,ru", "-option", "grp:menu_toggle"});
    QVERIFY(pressUntilReported({kControl, kUsW}));
    QVERIFY(server_->pressPlaces({kMenu}));
    onlyOtherSees({kUsW}, QString::fromUtf8("key \u0426"));
    QVERIFY(pressUntilReported({kControl, kUsW}));
    QVERIFY(server_->pressPlaces({kMenu}));
    setLayout({"-layout", "us", "-option", ""});
    QVERIFY(pressUntilReported({kControl, kUsW}));
}

/// No W in any layout of the keymap: the key stays in its place, and follows W when that comes back.
void TestGlobalKeys::keymapWithoutW() {
    setLayout({"ru"});
    onlyOtherSees({kUsW}, QString::fromUtf8("key \u0426"));
    ours_->reports();  // by now it has taken notice
    QVERIFY(pressUntilReported({kControl, kUsW}));
    setLayout({"fr"});
    QVERIFY(pressUntilReported({kControl, kUsZ}));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+Z");
    setLayout({"us"});
    QVERIFY(pressUntilReported({kControl, kUsW}));
}

void TestGlobalKeys::noKeyWithoutW() {
    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));
    setLayout({"ru"});
    onlyOtherSees({kUsW}, QString::fromUtf8("key \u0426"));
    QCOMPARE(ours_->doRegister(), QString("refused"));
    setLayout({"us"});
    onlyOtherSees({kUsW}, "key W");
    QCOMPARE(ours_->doRegister(), QString("registered"));
    QVERIFY(pressUntilReported({kControl, kUsW}));
}

/// The layout changes and the server does not say how: the key stays in its place until it does.
void TestGlobalKeys::lostAnswerAboutTheKeymap() {
    QCOMPARE(ours_->ask("deaf", {"done"}), QString("done"));
    setLayout({"fr"});
    onlyOtherSees({kUsW}, "key Z");
    ours_->reports();  // by now it has asked
    QVERIFY(pressUntilReported({kControl, kUsW}));
    // It asks again by itself.
    QCOMPARE(ours_->ask("hear", {"done"}), QString("done"));
    QVERIFY(pressUntilReported({kControl, kUsZ}));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+Z");
    setLayout({"us"});
    QVERIFY(pressUntilReported({kControl, kUsW}));
}

void TestGlobalKeys::noKeyWithoutAnAnswer() {
    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));
    QCOMPARE(ours_->ask("deaf", {"done"}), QString("done"));
    QCOMPARE(ours_->doRegister(), QString("refused"));
    QCOMPARE(ours_->ask("hear", {"done"}), QString("done"));
    QCOMPARE(ours_->doRegister(), QString("registered"));
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
}

void TestGlobalKeys::messageFromAnotherProcess() {
    QVERIFY(send(ours_->id));
    QCOMPARE(ours_->program.waitForLine("camera"), QStringList{"camera"});
    QVERIFY(send(ours_->id));
    QVERIFY(server_->key("ctrl+w"));
    QVERIFY(send(ours_->id));
    const QStringList reports = ours_->reports();
    QCOMPARE(reports.count("camera"), 2);
    QCOMPARE(reports.count("hotkey"), 1);
    QVERIFY(!other_->reports().contains("camera"));
}

void TestGlobalKeys::messageWithoutHotkey() {
    // Never asked for the key.
    QVERIFY(send(other_->id));
    QCOMPARE(other_->program.waitForLine("camera").count("camera"), 1);
    // Asked and was refused.
    QCOMPARE(other_->doRegister(), QString("refused"));
    QVERIFY(send(other_->id));
    QCOMPARE(other_->program.waitForLine("camera").count("camera"), 1);
}

void TestGlobalKeys::otherMessagesPass() {
    QVERIFY(send(ours_->id, "SOMETHING ELSE"));
    QVERIFY(send(ours_->id, "kv camera"));
    QCOMPARE(ours_->reports(), QStringList{});
    // The window is alive and Qt still gets what is meant for it.
    QVERIFY(server_->closeWindow(ours_->id));
    QVERIFY(server_->waitForNoWindow("Ours"));
}

/// What a press sends to the window is passed on to Qt, which has nothing to say about it.
void TestGlobalKeys::leavesNoLineInTheLog() {
    QVERIFY(server_->key("ctrl+w"));
    QCOMPARE(ours_->reports().count("hotkey"), 1);
    // Such a line as it would have been: of the fence that tells that the press has arrived.
    QVERIFY(waitFor([&] { return ours_->program.errors().contains("TEST FENCE"); }));
    const QByteArray log = ours_->program.errors();
    QVERIFY2(!log.contains("hotkey_save_img") && !log.contains("MANAGER"), log.constData());
}

/// The desktop goes away under the program: it ends as a Qt program does then, and neither hangs nor crashes.
void TestGlobalKeys::serverEnds() {
    auto desktop = std::make_unique<XServer>();
    QVERIFY2(desktop->start(), qPrintable(desktop->errorString()));
    Window window(*desktop, "Left behind");
    QCOMPARE(window.doRegister(), QString("registered"));
    desktop.reset();
    // In the middle of a write to the server it is the signal of a broken pipe that ends it.
    const bool ended = window.program.waitForEnd() || window.program.exitCode() == SIGPIPE;
    const QByteArray errors = window.program.errors();
    QVERIFY2(ended && !window.program.isRunning() && !errors.contains("Sanitizer"), errors.constData());
}

void TestGlobalKeys::screenshotShowsTheDesktop() {
    QCOMPARE(server_->screenshot().size(), QSize(1920, 1080));
    // Two windows stand on the plain root: as soon as they are drawn, more than one colour is to be seen.
    QVERIFY(waitFor([&] {
        const QImage image = server_->screenshot();
        const QRgb first = image.pixel(0, 1079);
        bool differs = false;
        for (int y = 0; y < image.height() && !differs; ++y)
            for (int x = 0; x < image.width() && !differs; ++x)
                differs = image.pixel(x, y) != first;
        return differs;
    }));
}

QTEST_GUILESS_MAIN(TestGlobalKeys)
#include "tst_globalkeys.moc"
