// SPDX-License-Identifier: Apache-2.0
// Another hot key than Ctrl+W, or none: with real key presses while another program has the keyboard, first
// of the platform functions, then of the program whose setting.ini says so.

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <memory>

#include "desktop/keywindow.h"
#include <csignal>

#include "support/runningbivista.h"

namespace {

// Places on the keyboard (X key codes).
constexpr int kControl = 37;
constexpr int kShift = 50;
constexpr int kAlt = 64;
constexpr int kSuper = 133;
constexpr int kOne = 10;
constexpr int kUsW = 25;
constexpr int kReturn = 36;
constexpr int kPadEnter = 104;
constexpr int kUsS = 39;
constexpr int kUsComma = 59;
constexpr int kUsSlash = 61;    // ! on a French keyboard
constexpr int kUsY = 29;        // Z on a German keyboard
constexpr int kUsZ = 52;        // Y on a German keyboard
constexpr int kUsBracket = 34;  // U umlaut on a German keyboard
constexpr int kF2 = 68;
constexpr int kF9 = 75;
constexpr int kPrint = 107;
constexpr int kHome = 110;
constexpr int kMute = 121;
constexpr int kPause = 127;
constexpr int kPlay = 172;

using Places = QVector<int>;

/// Windows without a camera's picture have few colours, but for a row of buttons.
bool showsAPicture(const QImage& screen) {
    for (const int row : {screen.height() * 2 / 5, screen.height() / 2, screen.height() * 3 / 5}) {
        QSet<QRgb> colours;
        for (int x = 0; x < screen.width(); ++x)
            colours.insert(screen.pixel(x, row));
        if (colours.size() <= 30)
            return false;
    }
    return true;
}

}  // namespace

class TestOtherHotkey : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void fires_data();
    void fires();
    void otherKeysPass_data();
    void otherKeysPass();
    void heldKeyFiresOnce();
    void followsTheLayout_data();
    void followsTheLayout();
    void staysWhereALayoutLacksIt();
    void saysWhyItIsRefused();

    void programSavesByAnotherKey();
    void programWithoutAKey();
    void programSaysThatTheKeyIsNone_data();
    void programSaysThatTheKeyIsNone();
    void programNamesTheSettingWhereItStands();

private:
    void setLayout(const QStringList& arguments);
    bool pressUntilReported(const Places& places);
    void onlyOtherSees(const Places& places, const QString& report);
    void makeOurs(const QString& key);
    void configure(const RunningBivista& bivista, const QByteArray& key);

    std::unique_ptr<XServer> server_;
    std::unique_ptr<Window> ours_;   // has the hot key, where a test gives it one
    std::unique_ptr<Window> other_;  // has the keyboard
};

void TestOtherHotkey::initTestCase() {
    server_ = std::make_unique<XServer>();
    QVERIFY2(server_->start(), qPrintable(server_->errorString()));
}

void TestOtherHotkey::init() {
    other_ = std::make_unique<Window>(*server_, "Other");
    QVERIFY2(other_->id != 0, other_->whyNoWindow().constData());
}

/// A test that failed may leave locks, held keys and layouts behind: the next one gets a new desktop.
void TestOtherHotkey::cleanup() {
    const bool failed = QTest::currentTestFailed();
    for (auto* window : {&ours_, &other_}) {
        if (!failed && *window && (*window)->program.isRunning()) {
            (*window)->program.write("quit");
            QVERIFY((*window)->program.waitForEnd());
            QVERIFY2((*window)->program.exitCode() == 0, (*window)->program.errors().constData());
        }
        window->reset();
    }
    if (failed)
        initTestCase();
    QVERIFY(server_->waitForNoWindow("Ours"));
    QVERIFY(server_->waitForNoWindow("Other"));
}

void TestOtherHotkey::setLayout(const QStringList& arguments) {
    const XServer::Outcome outcome = server_->run("setxkbmap", arguments);
    QVERIFY2(outcome.ok, outcome.errors.constData());
    QVERIFY(server_->settle());
}

/// Presses again and again: there is no telling from outside when a program has taken notice of a layout.
bool TestOtherHotkey::pressUntilReported(const Places& places) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < kDesktopLimit) {
        if (!server_->pressPlaces(places))
            return false;
        if (ours_->reports().contains("hotkey"))
            return true;
    }
    return false;
}

/// The same way the other one, which never is the hot key.
void TestOtherHotkey::onlyOtherSees(const Places& places, const QString& report) {
    other_->reports();
    QStringList seen;
    QElapsedTimer timer;
    timer.start();
    do {
        QVERIFY(server_->pressPlaces(places));
        if (ours_)
            QVERIFY(!ours_->reports().contains("hotkey"));
        seen += other_->reports();
    } while (!seen.contains(report) && timer.elapsed() < kDesktopLimit);
    QVERIFY2(seen.contains(report), qPrintable(QStringList(seen.mid(0, 9)).join(", ")));
}

/// Opens a window that has this hot key, behind the other one.
void TestOtherHotkey::makeOurs(const QString& key) {
    ours_ = std::make_unique<Window>(*server_, "Ours");
    QVERIFY2(ours_->id != 0, ours_->whyNoWindow().constData());
    const QString answer = ours_->doRegister(key);
    QVERIFY2(answer == "registered", ours_->program.errors().constData());
    QVERIFY(server_->activate(other_->id));
    onlyOtherSees({kUsW}, "key W");
    QCOMPARE(server_->modifiers(), 0);
}

void TestOtherHotkey::configure(const RunningBivista& bivista, const QByteArray& key) {
    bivista.write("setting.ini", bivista.read("setting.ini") + "[Platform]\nHotkey=" + key + "\n");
}

void TestOtherHotkey::fires_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<Places>("places");
    QTest::newRow("Shift") << "Ctrl+Shift+S" << Places{kControl, kShift, kUsS};
    QTest::newRow("Alt") << "Alt+W" << Places{kAlt, kUsW};
    QTest::newRow("Meta") << "Meta+F2" << Places{kSuper, kF2};
    QTest::newRow("all") << "Ctrl+Alt+Shift+Meta+W" << Places{kControl, kAlt, kShift, kSuper, kUsW};
    QTest::newRow("function key") << "F9" << Places{kF9};
    QTest::newRow("Pause") << "Pause" << Places{kPause};
    QTest::newRow("Break") << "Ctrl+Pause" << Places{kControl, kPause};
    QTest::newRow("Print") << "Ctrl+Alt+Print" << Places{kControl, kAlt, kPrint};
    QTest::newRow("play") << "Media Play" << Places{kPlay};
    QTest::newRow("mute") << "Volume Mute" << Places{kMute};
    QTest::newRow("Home") << "Ctrl+Home" << Places{kControl, kHome};
    QTest::newRow("Return") << "Ctrl+Return" << Places{kControl, kReturn};
    QTest::newRow("the pad's") << "Ctrl+Return" << Places{kControl, kPadEnter};
    QTest::newRow("digit") << "Ctrl+1" << Places{kControl, kOne};
    QTest::newRow("comma") << "Ctrl+," << Places{kControl, kUsComma};
    QTest::newRow("with Shift on it") << "Ctrl+!" << Places{kControl, kShift, kOne};
    QTest::newRow("with Shift, said twice") << "Ctrl+Shift+!" << Places{kControl, kShift, kOne};
}

/// Once a press, with and without locks, and the other program hears nothing.
void TestOtherHotkey::fires() {
    QFETCH(QString, key);
    QFETCH(Places, places);
    makeOurs(key);
    other_->reports();
    for (const QStringList& locks : {QStringList(), QStringList{"Caps_Lock"}, QStringList{"Num_Lock"},
                                     QStringList{"Caps_Lock", "Num_Lock"}}) {
        for (const QString& lock : locks)
            QVERIFY(server_->key(lock));
        other_->reports();
        QVERIFY(server_->pressPlaces(places));
        const QStringList reports = ours_->reports();
        QVERIFY2(reports == QStringList{"hotkey"}, qPrintable(reports.join(", ")));
        // It hears modifiers alone, which have no names in such reports, only odd characters.
        const QStringList heard = other_->reports();
        QCOMPARE(heard.filter(QRegularExpression("^key [ -~]+$")), QStringList());
        for (const QString& lock : locks)
            QVERIFY(server_->key(lock));
        QTRY_COMPARE(server_->modifiers(), 0);
    }
}

void TestOtherHotkey::otherKeysPass_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<Places>("places");
    QTest::addColumn<QString>("seen");
    QTest::newRow("Ctrl+W is free") << "Ctrl+Shift+S" << Places{kControl, kUsW} << "key Ctrl+W";
    QTest::newRow("without Shift") << "Ctrl+Shift+S" << Places{kControl, kUsS} << "key Ctrl+S";
    QTest::newRow("without Ctrl") << "Ctrl+Shift+S" << Places{kShift, kUsS} << "key S";
    QTest::newRow("with Shift") << "F9" << Places{kShift, kF9} << "key F9";
    QTest::newRow("with Alt") << "Ctrl+W" << Places{kControl, kAlt, kUsW} << "key Ctrl+W";
    QTest::newRow("without Alt") << "Alt+W" << Places{kUsW} << "key W";
    QTest::newRow("Super for Alt") << "Alt+W" << Places{kSuper, kUsW} << "key W";
    QTest::newRow("Alt for Super") << "Meta+F9" << Places{kAlt, kF9} << "key F9";
    QTest::newRow("the digit below") << "Ctrl+!" << Places{kControl, kOne} << "key Ctrl+1";
    QTest::newRow("the character above") << "Ctrl+1" << Places{kControl, kShift, kOne} << "key Ctrl+!";
}

void TestOtherHotkey::otherKeysPass() {
    QFETCH(QString, key);
    QFETCH(Places, places);
    QFETCH(QString, seen);
    makeOurs(key);
    onlyOtherSees(places, seen);
}

void TestOtherHotkey::heldKeyFiresOnce() {
    makeOurs("Alt+F9");
    QVERIFY(server_->repeatKeys(true));
    // How long until a held key repeats for certain, here and now: until it did three times.
    QElapsedTimer timer;
    timer.start();
    QVERIFY(server_->keyDown("F8"));
    for (int repeat = 0; repeat < 3; ++repeat)
        QVERIFY(!other_->program.waitForLine("repeat F8").isEmpty());
    QVERIFY(server_->keyUp("F8"));
    const int held = static_cast<int>(timer.elapsed());

    QVERIFY(server_->keyDown("alt"));
    QVERIFY(server_->keyDown("F9"));
    QCOMPARE(ours_->program.waitForLine("hotkey"), QStringList{"hotkey"});
    QTest::qWait(held + 200);  // the one wait for nothing to happen
    QCOMPARE(ours_->reports(), QStringList{});
    QVERIFY(server_->keyUp("F9"));
    QVERIFY(server_->keyUp("alt"));
    QVERIFY(server_->repeatKeys(false));
    QVERIFY(server_->pressPlaces({kAlt, kF9}));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
}

void TestOtherHotkey::followsTheLayout_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<Places>("before");
    QTest::addColumn<Places>("after");
    QTest::addColumn<QString>("seen");  // what the other program makes of the old places
    QTest::newRow("letter") << "Ctrl+Shift+Z"
                            << "de" << Places{kControl, kShift, kUsZ} << Places{kControl, kShift, kUsY}
                            << "key Ctrl+Y";
    QTest::newRow("character, then without Shift")
        << "Ctrl+!"
        << "fr" << Places{kControl, kShift, kOne} << Places{kControl, kUsSlash} << "key Ctrl+1";
}

void TestOtherHotkey::followsTheLayout() {
    QFETCH(QString, key);
    QFETCH(QString, layout);
    QFETCH(Places, before);
    QFETCH(Places, after);
    QFETCH(QString, seen);
    makeOurs(key);
    QVERIFY(pressUntilReported(before));
    setLayout({layout});
    QVERIFY(pressUntilReported(after));
    onlyOtherSees(before, seen);
    setLayout({"us"});
    QVERIFY(pressUntilReported(before));
}

/// And where it takes another modifier, it takes that as long as it must.
void TestOtherHotkey::staysWhereALayoutLacksIt() {
    setLayout({"de"});
    onlyOtherSees({kUsZ}, "key Y");
    makeOurs(QString::fromUtf8("Ctrl+Ü"));
    QVERIFY(pressUntilReported({kControl, kUsBracket}));
    setLayout({"us"});
    onlyOtherSees({kUsZ}, "key Z");
    ours_->reports();  // by now it has taken notice
    QVERIFY(pressUntilReported({kControl, kUsBracket}));
    QVERIFY(
        ours_->program.errors().contains(QString::fromUtf8("has no Ctrl+Ü; it stays in its place").toUtf8()));
    // A digit is the key that it is written on, also where it takes Shift.
    QCOMPARE(ours_->ask("unregister", {"done"}), QString("done"));
    QCOMPARE(ours_->doRegister("Ctrl+1"), QString("registered"));
    setLayout({"fr"});
    onlyOtherSees({kUsZ}, "key W");
    ours_->reports();
    QVERIFY(pressUntilReported({kControl, kOne}));
    setLayout({"us"});
    onlyOtherSees({kUsZ}, "key Z");
}

void TestOtherHotkey::saysWhyItIsRefused() {
    makeOurs("F9");
    QCOMPARE(other_->doRegister("F9"), QString("refused"));
    QVERIFY(waitFor([&] { return other_->program.errors().contains("F9 is in use by another program"); }));
    QCOMPARE(other_->doRegister("F35"), QString("refused"));
    QVERIFY(waitFor([&] { return other_->program.errors().contains("the keyboard layout has no F35"); }));
    // Other variants of the same key are other keys.
    QCOMPARE(other_->doRegister("Ctrl+F9"), QString("registered"));
    QCOMPARE(ours_->doRegister("F8"), QString("refused"));
    QVERIFY(waitFor([&] { return ours_->program.errors().contains("this program has a hot key already"); }));
    QVERIFY(server_->pressPlaces({kF9}));
    QCOMPARE(ours_->reports(), QStringList{"hotkey"});
    QVERIFY(server_->pressPlaces({kControl, kF9}));
    QCOMPARE(other_->reports().count("hotkey"), 1);
}

void TestOtherHotkey::programSavesByAnotherKey() {
    RunningBivista bivista(*server_, QStringLiteral(BIVISTA));
    configure(bivista, "Ctrl+Shift+S");
    bivista.start();
    const quint32 window = server_->waitForWindow("Bivista");
    QVERIFY2(window != 0, bivista.process->errors().constData());
    QVERIFY(server_->activate(other_->id));
    // Before there is the first tile the key saves nothing. A press too many would be counted below, so it is
    // not made before a picture is to be seen, nor while one that was heard may take its time.
    QVERIFY(waitFor([&] { return showsAPicture(server_->screenshot()); }));
    QVERIFY(waitFor([&] {
        return server_->pressPlaces({kControl, kShift, kUsS}) &&
               waitFor([&] { return !bivista.pictures().isEmpty(); }, 5000);
    }));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+W");
    // A press that is heard comes after all that were not.
    const int before = bivista.pictures().size();
    QVERIFY(server_->pressPlaces({kControl, kShift, kUsS}));
    QVERIFY(bivista.waitForPictures(before + 1));
    QCOMPARE(bivista.pictures().size(), before + 1);
    QCOMPARE(server_->activeWindow(), other_->id);
    QVERIFY(server_->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.read("setting.ini").contains("Hotkey=Ctrl+Shift+S"));
}

void TestOtherHotkey::programWithoutAKey() {
    RunningBivista bivista(*server_, QStringLiteral(BIVISTA));
    configure(bivista, "");
    bivista.start();
    const quint32 window = server_->waitForWindow("Bivista");
    QVERIFY2(window != 0, bivista.process->errors().constData());
    QVERIFY(waitFor([&] { return bivista.read("setting.ini").contains("Cam3="); }));
    QVERIFY(!server_->titles().contains("Error"));
    QVERIFY2(!bivista.process->errors().contains("hot key"), bivista.process->errors().constData());
    // Others can have it.
    QVERIFY(server_->activate(other_->id));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+W");
    QCOMPARE(other_->doRegister(), QString("registered"));
    QVERIFY(server_->pressPlaces({kControl, kUsW}));
    QCOMPARE(other_->reports().count("hotkey"), 1);
    QVERIFY(server_->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.pictures().isEmpty());
    QVERIFY(bivista.read("setting.ini").contains("Hotkey=\n"));
}

void TestOtherHotkey::programSaysThatTheKeyIsNone_data() {
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("no key") << QByteArray("Strg+W") << QByteArray("Strg+W: is no key");
    QTest::newRow("a letter alone") << QByteArray("W") << QByteArray("W: would be taken from all programs");
    QTest::newRow("several") << QByteArray("Ctrl+K, Ctrl+S")
                             << QByteArray("Ctrl+K, Ctrl+S: is more than one key");
    QTest::newRow("modifiers") << QByteArray("Ctrl+Shift") << QByteArray("Ctrl+Shift: is no key");
    QTest::newRow("not on this keyboard")
        << QByteArray("F35") << QByteArray("F35: the keyboard layout has no F35");
    QTest::newRow("taken") << QByteArray("Alt+F9")
                           << QByteArray("Alt+F9: Alt+F9 is in use by another program");
}

void TestOtherHotkey::programSaysThatTheKeyIsNone() {
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, reason);
    if (key == "Alt+F9")
        QCOMPARE(other_->doRegister("Alt+F9"), QString("registered"));
    RunningBivista bivista(*server_, QStringLiteral(BIVISTA));
    configure(bivista, key);
    const QByteArray settings = bivista.read("setting.ini");
    bivista.start();
    const quint32 box = server_->waitForWindow("Error");
    QVERIFY2(box != 0, bivista.process->errors().constData());
    QVERIFY2(waitFor([&] { return bivista.process->errors().contains("Platform/Hotkey " + reason); }),
             bivista.process->errors().constData());
    // The start waits for the answer, and has touched nothing so far.
    QVERIFY(!server_->titles().contains("Bivista"));
    QCOMPARE(bivista.read("setting.ini"), settings);
    QVERIFY(server_->activate(box));
    QVERIFY(server_->key("Return"));
    const quint32 window = server_->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(server_->activate(other_->id));
    onlyOtherSees({kControl, kUsW}, "key Ctrl+W");
    QVERIFY(server_->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

/// Nobody finds a setting that nobody wrote.
void TestOtherHotkey::programNamesTheSettingWhereItStands() {
    QCOMPARE(other_->doRegister("Ctrl+W"), QString("registered"));
    for (const bool isWritten : {false, true}) {
        RunningBivista bivista(*server_, QStringLiteral(BIVISTA));
        if (isWritten)
            configure(bivista, "Ctrl+W");
        bivista.start();
        QVERIFY2(server_->waitForWindow("Error") != 0, bivista.process->errors().constData());
        const QByteArray line = QByteArray("No hot key, ") + (isWritten ? "Platform/Hotkey " : "") +
                                "Ctrl+W: Ctrl+W is in use by another program";
        QVERIFY2(waitFor([&] { return bivista.process->errors().contains(line); }),
                 bivista.process->errors().constData());
        bivista.process->signal(SIGTERM);
        QVERIFY(bivista.process->waitForEnd());
    }
}

QTEST_GUILESS_MAIN(TestOtherHotkey)
#include "tst_otherhotkey.moc"
