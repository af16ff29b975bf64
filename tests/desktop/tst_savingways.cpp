// SPDX-License-Identifier: Apache-2.0
#include <QScreen>
#include <QToolBar>
#include <functional>
#include <optional>

#include "settings/settingdialog.h"
#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/recordingcamera.h"
#include "support/serialline.h"
#include "support/xserver.h"

namespace {

/// Counts the presses of a key, its repeats included, that widgets of this process see.
class KeyCounter : public QObject {
public:
    explicit KeyCounter(int key) : key_(key) { qApp->installEventFilter(this); }

    int count = 0;

protected:
    bool eventFilter(QObject* receiver, QEvent* event) override {
        if (receiver->isWidgetType() && event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->key() == key_)
            ++count;
        return false;
    }

private:
    const int key_;
};

}  // namespace

/// The ways to save the composite, side by side in one window: the tool bar, the hot key while another
/// program has the keyboard, a barcode reader, and a machine controller at the other end of a serial line.
class TestSavingWays : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void everyWayWritesTheSamePicture();
    void switchedOffNoWayWrites();
    void hotKeyWhileAMenuIsOpen();

private:
    enum class Way { Barcode, ToolBar, Action, HotKey, Serial, SerialDelayed };
    using Condition = std::function<bool()>;

    void start(const QByteArray& ini = {});
    void placeBarcode();
    void startOtherProgram();
    void activateWindow();
    void sendPattern(int tile, int seed);
    void go(Way way, const Condition& isDone);
    void clickToolBar(const Condition& isDone);
    void pressHotKeyInOtherProgram(const Condition& isDone);
    void scan(const QString& code, const Condition& isDone);
    void triggerDelayed(const Condition& isDone);
    void save(Way way, QVector<QImage>& saved);
    void saveEveryWay(QImage& picture);
    static std::optional<QByteArray> xdo(const QString& command);
    static QByteArray activeWindow() { return xdo(QStringLiteral("getactivewindow")).value_or("none"); }
    static bool wait(const Condition& isDone) { return QTest::qWaitFor(isDone, kWait); }
    static QString center(const QWidget* widget);
    static QStringList pictures();

    static constexpr Way kWays[] = {Way::Barcode, Way::ToolBar, Way::Action,       Way::HotKey,
                                    Way::Serial,  Way::Barcode, Way::SerialDelayed};
    static constexpr int kDelay = 300;  // ms
    const QString code = QStringLiteral("A-17b");

    std::unique_ptr<WindowUnderTest> window;
    std::unique_ptr<SerialLine> line;
    std::unique_ptr<DesktopProgram> other;
    QByteArray otherId;
};

void TestSavingWays::init() {
    QVector<recording::Camera> cameras(3);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    // The edges of the overlay are compared too. Large text takes over the fraction of a pixel at which small
    // text of its font was drawn last, be it a button's; hinted fonts have no such fractions.
    QFont font = QApplication::font();
    font.setHintingPreference(QFont::PreferFullHinting);
    QApplication::setFont(font);
    line = std::make_unique<SerialLine>();
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    window = std::make_unique<WindowUnderTest>();
}

void TestSavingWays::cleanup() {
    repeatKeysHere(false);  // after a test that failed
    window.reset();
    other.reset();
    line.reset();
}

/// Three tiles, the last one aside of the others, a line and a circle from the mark file, the barcode
/// overlay, and another program.
void TestSavingWays::start(const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\nPort=" + line->programEnd().toUtf8() + "\n" + ini +
                                     "[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\nX2=1300\nY2=20\n"));
    QVERIFY(WorkingFolder::write(
        QStringLiteral("mark0.txt"),
        "Line #00ff00 1 1 | 100 100 900 100\r\nCircle #00ff00 1 1 | 200 250 300 350 400 250\r\n"));
    window->start();
    QVERIFY(QTest::qWaitForWindowActive(window->get(), kWait));
    QCOMPARE(window->leftText().trimmed(), QString());  // the serial port is open
    QVERIFY(window->answerer.boxes.isEmpty());          // the hot key is registered
    for (int tile = 0; tile < 3; ++tile)
        sendPattern(tile, tile);
    QVERIFY(window->waitForTiles(3));
    // Not the frame's width: now and then the borders of before count in it for good.
    QTRY_COMPARE_WITH_TIMEOUT(window->get()->width(), window->get()->screen()->size().width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
    window->action("actionLoad_Corner")->trigger();
    placeBarcode();
    if (!QTest::currentTestFailed())
        startOtherProgram();
}

void TestSavingWays::placeBarcode() {
    window->action("actionBarcode")->trigger();
    const QGraphicsView* view = window->view();
    const QPoint place = view->viewport()->mapToGlobal(view->mapFromScene(QPointF(60, 440)));
    QVERIFY(xdo(QStringLiteral("mousemove %1 %2 click 1").arg(place.x()).arg(place.y())));
    QVERIFY(wait([] { return !WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isEmpty(); }));
}

void TestSavingWays::startOtherProgram() {
    other =
        std::make_unique<DesktopProgram>(QProcessEnvironment::systemEnvironment(), QStringLiteral(KEY_WINDOW),
                                         QStringList{QStringLiteral("Editor")}, QString());
    QVERIFY(wait([&] {
        otherId = xdo(QStringLiteral("search --onlyvisible --name ^Editor$")).value_or(QByteArray());
        return !otherId.isEmpty();
    }));
    QVERIFY2(!otherId.contains('\n'), otherId.constData());
}

void TestSavingWays::activateWindow() {
    const QByteArray id = QByteArray::number(window->get()->winId());
    QVERIFY(xdo(QStringLiteral("windowactivate ") + QLatin1String(id)));
    // The window has the keyboard a moment before the window manager hears of it and calls it active.
    QVERIFY(wait([&] { return window->get()->isActiveWindow() && activeWindow() == id; }));
}

/// A frame with a pattern, another one for each seed.
void TestSavingWays::sendPattern(int tile, int seed) {
    constexpr int kWidth = 640;
    constexpr int kHeight = 480;
    auto* buffer = new unsigned char[kWidth * kHeight];
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x)
            buffer[y * kWidth + x] = static_cast<unsigned char>(((x / 5) ^ (y / 3)) + 60 * seed);
    }
    window->get()->process(tile, QImage(buffer, kWidth, kHeight, kWidth, QImage::Format_Grayscale8), buffer,
                           static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

/// Runs one xdotool command line while the windows of this process go on; what it printed, if it succeeded.
std::optional<QByteArray> TestSavingWays::xdo(const QString& command) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), command.split(QLatin1Char(' ')));
    if (!wait([&] { return process.state() == QProcess::NotRunning; }) ||
        process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {};
    return process.readAllStandardOutput().trimmed();
}

QString TestSavingWays::center(const QWidget* widget) {
    const QPoint place = widget->mapToGlobal(widget->rect().center());
    return QStringLiteral("%1 %2").arg(place.x()).arg(place.y());
}

QStringList TestSavingWays::pictures() {
    return QDir().entryList(QDir::Files).filter(QRegularExpression(QStringLiteral("\\.(png|jpg|bmp)$")));
}

/// Saves in one way and waits until that shows.
void TestSavingWays::go(Way way, const Condition& isDone) {
    switch (way) {
        case Way::Barcode:
            scan(code, isDone);
            break;
        case Way::ToolBar:
            clickToolBar(isDone);
            break;
        case Way::Action:
            window->action("action_Save")->trigger();
            QVERIFY(wait(isDone));
            break;
        case Way::HotKey:
            pressHotKeyInOtherProgram(isDone);
            break;
        case Way::Serial:
            QVERIFY(line->send("TRIGGER"));
            QVERIFY(wait(isDone));
            break;
        case Way::SerialDelayed:
            triggerDelayed(isDone);
            break;
    }
}

void TestSavingWays::clickToolBar(const Condition& isDone) {
    activateWindow();
    const auto* bar = window->get()->findChild<QToolBar*>(QStringLiteral("toolBar"));
    const QWidget* button = bar->widgetForAction(window->action("action_Save"));
    QVERIFY(button && button->isVisible());
    QVERIFY(xdo(QStringLiteral("mousemove ") + center(button) + QStringLiteral(" click 1")));
    QVERIFY(wait(isDone));
}

void TestSavingWays::pressHotKeyInOtherProgram(const Condition& isDone) {
    QVERIFY(xdo(QStringLiteral("windowactivate ") + QLatin1String(otherId)));
    QVERIFY(wait([&] { return activeWindow() == otherId && !window->get()->isActiveWindow(); }));
    QVERIFY(xdo(QStringLiteral("key x")));
    QVERIFY(!other->waitForLine(QStringLiteral("key X")).isEmpty());
    QVERIFY(xdo(QStringLiteral("key ctrl+w")));
    QVERIFY(wait(isDone));
    QCOMPARE(activeWindow(), otherId);
    QVERIFY(!window->get()->isActiveWindow());
    // The keyboard is still the other program's, and the hot key alone never was.
    QVERIFY(xdo(QStringLiteral("key y")));
    const QStringList heard = other->waitForLine(QStringLiteral("key Y"));
    QVERIFY(!heard.isEmpty());
    QVERIFY2(!heard.contains(QStringLiteral("key Ctrl+W")), qPrintable(heard.join(QLatin1Char('|'))));
}

void TestSavingWays::scan(const QString& typed, const Condition& isDone) {
    activateWindow();
    QVERIFY(xdo(QStringLiteral("type --delay 1 ") + typed));
    QVERIFY(xdo(QStringLiteral("key Return")));
    QVERIFY(wait(isDone));
}

/// Sets the delay by its command too, and back to none for whoever comes next.
void TestSavingWays::triggerDelayed(const Condition& isDone) {
    auto* dialog = window->get()->findChild<SettingDialog*>();
    QCOMPARE(dialog->saveDelay(), 0);
    const QByteArray command = "SETDELAY " + QByteArray::number(kDelay);
    QVERIFY(line->send(command));
    QVERIFY(wait([&] { return window->leftText() == QStringLiteral("COMMAND:") + QLatin1String(command); }));
    QCOMPARE(dialog->saveDelay(), kDelay);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(line->send("TRIGGER"));
    QVERIFY(wait(isDone));
    QVERIFY2(timer.elapsed() >= kDelay - 10, qPrintable(QString::number(timer.elapsed())));
    dialog->setSaveDelay(0);
}

/// Appends the one picture that this way writes.
void TestSavingWays::save(Way way, QVector<QImage>& saved) {
    go(way, [] { return !pictures().isEmpty(); });
    if (QTest::currentTestFailed())
        return;
    const QStringList names = pictures();
    QCOMPARE(names.size(), 1);
    const QString pattern =
        way == Way::Barcode ? code + QStringLiteral("\\.png") : QStringLiteral("snapshot-\\d{17}\\.png");
    const QRegularExpression name(QRegularExpression::anchoredPattern(pattern));
    QVERIFY2(name.match(names[0]).hasMatch(), qPrintable(names[0]));
    saved.append(QImage(names[0]));
    QCOMPARE(saved.last().size(), QSize(1940, 500));
    QVERIFY(QFile::remove(names[0]));
}

/// Saves in every way; all pictures are the first.
void TestSavingWays::saveEveryWay(QImage& picture) {
    QVector<QImage> saved;
    for (const Way way : kWays) {
        save(way, saved);
        if (QTest::currentTestFailed())
            return;
    }
    for (int i = 1; i < saved.size(); ++i)
        QVERIFY2(saved[i] == saved[0], qPrintable(QStringLiteral("way %1 of the list").arg(i)));
    picture = saved[0];
}

void TestSavingWays::everyWayWritesTheSamePicture() {
    start();
    if (QTest::currentTestFailed())
        return;
    QImage first;
    saveEveryWay(first);
    if (QTest::currentTestFailed())
        return;
    // Everything is in it: the tiles' patterns, nothing between them, the line, the overlay.
    QCOMPARE(first.pixelColor(7, 470), QColor(157, 157, 157));
    QCOMPARE(first.pixelColor(640 + 7, 470), QColor(217, 217, 217));
    QCOMPARE(first.pixelColor(1300 + 7, 20 + 470), QColor(21, 21, 21));
    QCOMPARE(first.pixelColor(1290, 100).alpha(), 0);
    QVERIFY(first.pixelColor(150, 100) == QColor(Qt::green) ||
            first.pixelColor(150, 99) == QColor(Qt::green));
    int red = 0;
    for (int x = 60; x < 300; ++x)
        red += first.pixelColor(x, 430) == QColor(Qt::red) ? 1 : 0;
    QVERIFY(red > 0);

    // All of them follow a tile, in its place only.
    sendPattern(1, 3);
    QImage later;
    saveEveryWay(later);
    if (QTest::currentTestFailed())
        return;
    QVERIFY(later != first);
    QVERIFY(later.copy(640, 0, 640, 480) != first.copy(640, 0, 640, 480));
    QCOMPARE(later.copy(0, 0, 640, 500), first.copy(0, 0, 640, 500));
    QCOMPARE(later.copy(1280, 0, 660, 500), first.copy(1280, 0, 660, 500));

    // And the overlay: another code makes another picture.
    scan(QStringLiteral("B-18c"), [] { return !pictures().isEmpty(); });
    QCOMPARE(pictures(), QStringList{QStringLiteral("B-18c.png")});
    const QImage otherCode(QStringLiteral("B-18c.png"));
    QCOMPARE(otherCode.size(), QSize(1940, 500));
    QVERIFY(otherCode != later);
}

/// That a way has been gone shows in the held frame, which comes into view all the same.
void TestSavingWays::switchedOffNoWayWrites() {
    start("SaveCaptured=false\nFreezeImage=true\n");
    if (QTest::currentTestFailed())
        return;
    int grey = 100;
    for (const Way way : kWays) {
        ++grey;
        window->sendFrame(0, grey, 0, {640, 480});
        QVERIFY(WindowUnderTest::greyOf(window->tiles()[0]) != grey);
        go(way, [&] { return WindowUnderTest::greyOf(window->tiles()[0]) == grey; });
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(pictures(), QStringList());
        QVERIFY2(!window->leftText().startsWith(QLatin1String("Saved")), qPrintable(window->leftText()));
    }
    QVERIFY(window->answerer.boxes.isEmpty());
}

/// A menu has the whole keyboard for as long as it is open, which may be all night.
void TestSavingWays::hotKeyWhileAMenuIsOpen() {
    start();
    activateWindow();
    for (int tile = 0; tile < 3; ++tile)
        sendPattern(tile, tile);
    QVERIFY(xdo(QStringLiteral("key alt+f")));
    QVERIFY(wait([] { return QApplication::activePopupWidget() != nullptr; }));
    QVERIFY(repeatKeysHere(true));
    const KeyCounter menuKeys(Qt::Key_W);
    for (int presses = 1; presses <= 2; ++presses) {
        // Held down, it saves once, however often it is repeated.
        QVERIFY(xdo(QStringLiteral("keydown ctrl keydown w")));
        QVERIFY2(wait([&] { return pictures().size() == presses; }), qPrintable(pictures().join(' ')));
        const int before = menuKeys.count;
        QVERIFY(wait([&] { return menuKeys.count >= before + 3; }));
        QVERIFY(xdo(QStringLiteral("keyup w keyup ctrl")));
        QCOMPARE(pictures().size(), presses);
    }
    QVERIFY(repeatKeysHere(false));
    QVERIFY(QApplication::activePopupWidget());
    QVERIFY(xdo(QStringLiteral("key Escape Escape")));
    QVERIFY(wait([] { return QApplication::activePopupWidget() == nullptr; }));
    QVERIFY(xdo(QStringLiteral("key ctrl+w")));
    QVERIFY(wait([] { return pictures().size() == 3; }));
}

TEST_ON_DESKTOP_MAIN(TestSavingWays)
#include "tst_savingways.moc"
