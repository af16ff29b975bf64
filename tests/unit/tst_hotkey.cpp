// SPDX-License-Identifier: Apache-2.0
#include <QTest>

#include "platform/hotkey.h"

using namespace platform;

/// Hot keys as people write them, and what X11 and Windows call them.
class TestHotkey : public QObject {
    Q_OBJECT

private slots:
    void isCtrlWByDefault();
    void isRead_data();
    void isRead();
    void isRefused_data();
    void isRefused();
    void symbolsOfX11_data();
    void symbolsOfX11();
    void keysOfWindows_data();
    void keysOfWindows();
    void layoutOfWindows_data();
    void layoutOfWindows();
};

void TestHotkey::isCtrlWByDefault() {
    QCOMPARE(Hotkey().text(), QStringLiteral("Ctrl+W"));
    const HotkeyReading read = readHotkey(QStringLiteral("Ctrl+W"));
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.hotkey.key, Hotkey().key);
    QCOMPARE(read.hotkey.modifiers, Hotkey().modifiers);
}

void TestHotkey::isRead_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("meant");
    for (const char* text : {"Ctrl+W", "Ctrl+Shift+S", "F9", "Shift+F9", "Ctrl+Alt+Print", "Pause", "Meta+F2",
                             "Alt+W", "Meta+Space", "Ctrl+,", "Ctrl++", "Ctrl+!", "Ctrl+1", "Ctrl+Return",
                             "Ctrl+Home", "Media Play", "Volume Mute", "F35"})
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(text);
    QTest::newRow("small") << QStringLiteral("ctrl+shift+s") << QStringLiteral("Ctrl+Shift+S");
    QTest::newRow("spaces around") << QStringLiteral(" F9 ") << QStringLiteral("F9");
    QTest::newRow("umlaut") << QString::fromUtf8("Ctrl+ü") << QString::fromUtf8("Ctrl+Ü");
    QTest::newRow("other name") << QStringLiteral("Print Screen") << QStringLiteral("Print");
    QTest::newRow("enter") << QStringLiteral("Ctrl+Enter") << QStringLiteral("Ctrl+Return");
    QTest::newRow("tab") << QStringLiteral("Ctrl+Backtab") << QStringLiteral("Ctrl+Shift+Tab");
}

void TestHotkey::isRead() {
    QFETCH(QString, text);
    QFETCH(QString, meant);
    const HotkeyReading read = readHotkey(text);
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.hotkey.text(), meant);
}

void TestHotkey::isRefused_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");
    const QString noKey = QStringLiteral("is no key, as Ctrl+Shift+S or F9 are");
    for (const char* text :
         {"", "Foo", "Ctrl", "Ctrl+", "Ctrl+Alt", "Shift", "Ctrl-W", "Strg+W", "Win+F2", "F36"})
        QTest::addRow("no key: %s", text) << QString::fromLatin1(text) << noKey;
    for (const char* text : {"Ctrl+W, Ctrl+Q", "F9, F9", "Ctrl+K,Ctrl+S,F1"})
        QTest::addRow("several: %s", text)
            << QString::fromLatin1(text) << QStringLiteral("is more than one key");
    for (const char* text : {"CapsLock", "Num Lock", "Ctrl+ScrollLock", "Ctrl+Hangul", "Select", "Ctrl+\x01"})
        QTest::addRow("not to be had: %s", text)
            << QString::fromLatin1(text) << QStringLiteral("is no key that can be had from the desktop");
    for (const char* text :
         {"W",       "w",   "Shift+W",   "1",   "Space", ",",    "Return", "Enter", "Tab",    "Shift+Tab",
          "Backtab", "Esc", "Backspace", "Del", "Ins",   "Left", "Up",     "Home",  "PgDown", "Clear"})
        QTest::addRow("everybody's: %s", text)
            << QString::fromLatin1(text)
            << QStringLiteral("would be taken from all programs; it needs Ctrl, Alt or Meta");
    QTest::newRow("number pad") << QStringLiteral("Ctrl+Num+5")
                                << QStringLiteral(
                                       "is a key of the number pad, which cannot be had by itself");
}

void TestHotkey::isRefused() {
    QFETCH(QString, text);
    QFETCH(QString, reason);
    QCOMPARE(readHotkey(text).problem, reason);
}

using Symbols = std::vector<quint32>;

void TestHotkey::symbolsOfX11_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<Symbols>("symbols");
    // Letters with both cases, others with the one that they have.
    QTest::newRow("W") << int(Qt::Key_W) << Symbols{'w', 'W'};
    QTest::newRow("1") << int(Qt::Key_1) << Symbols{'1'};
    QTest::newRow("Space") << int(Qt::Key_Space) << Symbols{' '};
    QTest::newRow("U umlaut") << int(Qt::Key_Udiaeresis) << Symbols{0xfc, 0xdc};
    QTest::newRow("Cyrillic") << 0x424 << Symbols{0x01000444, 0x01000424};
    QTest::newRow("^, dead too") << int(Qt::Key_AsciiCircum) << Symbols{'^', 0xfe52};
    QTest::newRow("F1") << int(Qt::Key_F1) << Symbols{0xffbe};
    QTest::newRow("F12") << int(Qt::Key_F12) << Symbols{0xffc9};
    QTest::newRow("F35") << int(Qt::Key_F35) << Symbols{0xffe0};
    QTest::newRow("both Returns") << int(Qt::Key_Return) << Symbols{0xff0d, 0xff8d};
    QTest::newRow("Print") << int(Qt::Key_Print) << Symbols{0xff61};
    QTest::newRow("Pause") << int(Qt::Key_Pause) << Symbols{0xff13};
    QTest::newRow("Play") << int(Qt::Key_MediaPlay) << Symbols{0x1008ff14};
    QTest::newRow("a modifier") << int(Qt::Key_Control) << Symbols{};
    QTest::newRow("beyond Unicode's first plane") << 0x1d11e << Symbols{};
    QTest::newRow("unknown") << int(Qt::Key_unknown) << Symbols{};
}

void TestHotkey::symbolsOfX11() {
    QFETCH(int, key);
    QFETCH(Symbols, symbols);
    QCOMPARE(keySymbols(key), symbols);
}

namespace {

constexpr quint32 kAlt = 1;
constexpr quint32 kControl = 2;
constexpr quint32 kShift = 4;
constexpr quint32 kWin = 8;
constexpr quint32 kNoRepeat = 0x4000;

WindowsHotkey onWindows(const QString& text, const std::function<int(ushort)>& scan) {
    const HotkeyReading read = readHotkey(text);
    return windowsHotkey(read.hotkey, scan);
}

}  // namespace

void TestHotkey::keysOfWindows_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<quint32>("modifiers");
    QTest::addColumn<quint32>("key");
    QTest::newRow("W") << "Ctrl+W" << kControl << quint32('W');
    QTest::newRow("S") << "Ctrl+Shift+S" << (kControl | kShift) << quint32('S');
    QTest::newRow("1") << "Alt+1" << kAlt << quint32('1');
    QTest::newRow("Space") << "Meta+Space" << kWin << 0x20U;
    QTest::newRow("F1") << "F1" << 0U << 0x70U;
    QTest::newRow("F24") << "Shift+F24" << kShift << 0x87U;
    QTest::newRow("none so high") << "F25" << 0U << 0U;
    QTest::newRow("Print") << "Ctrl+Alt+Print" << (kControl | kAlt) << 0x2cU;
    QTest::newRow("Pause") << "Pause" << 0U << 0x13U;
    QTest::newRow("Break") << "Ctrl+Pause" << kControl << 0x03U;
    QTest::newRow("Home") << "Ctrl+Home" << kControl << 0x24U;
    QTest::newRow("Return") << "Ctrl+Enter" << kControl << 0x0dU;
    QTest::newRow("Tab") << "Ctrl+Backtab" << (kControl | kShift) << 0x09U;
    QTest::newRow("Play") << "Toggle Media Play/Pause" << 0U << 0xb3U;
    QTest::newRow("louder") << "Volume Up" << 0U << 0xafU;
}

/// Without asking the layout, and never with repeats.
void TestHotkey::keysOfWindows() {
    QFETCH(QString, text);
    QFETCH(quint32, modifiers);
    QFETCH(quint32, key);
    int asked = 0;
    const WindowsHotkey found = onWindows(text, [&](ushort) { return ++asked; });
    QCOMPARE(asked, 0);
    QCOMPARE(found.modifiers, modifiers | kNoRepeat);
    QCOMPARE(found.key, key);
}

void TestHotkey::layoutOfWindows_data() {
    QTest::addColumn<int>("answer");
    QTest::addColumn<quint32>("modifiers");
    QTest::addColumn<quint32>("key");
    QTest::newRow("plain") << 0xba << kControl << 0xbaU;
    QTest::newRow("with Shift") << 0x1ba << (kControl | kShift) << 0xbaU;
    QTest::newRow("with AltGr") << 0x6ba << kControl << 0U;
    QTest::newRow("with Ctrl") << 0x2ba << kControl << 0U;
    QTest::newRow("with a shift of a special layout") << 0x8ba << kControl << 0U;
    QTest::newRow("none") << -1 << kControl << 0U;
}

void TestHotkey::layoutOfWindows() {
    QFETCH(int, answer);
    QFETCH(quint32, modifiers);
    QFETCH(quint32, key);
    ushort asked = 0;
    const WindowsHotkey found = onWindows(QString::fromUtf8("Ctrl+Ü"), [&](ushort character) {
        asked = character;
        return answer;
    });
    QCOMPARE(asked, ushort(0xfc));  // the capital would always take Shift
    QCOMPARE(found.modifiers, modifiers | kNoRepeat);
    QCOMPARE(found.key, key);
}

QTEST_GUILESS_MAIN(TestHotkey)
#include "tst_hotkey.moc"
