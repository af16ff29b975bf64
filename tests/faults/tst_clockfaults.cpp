// SPDX-License-Identifier: Apache-2.0
#include <QDateTime>
#include <atomic>

#include "framerates.h"
#include "live/tile.h"
#include "marks/textmark.h"
#include "support/recordingcamera.h"
#include "support/setclock.h"

namespace {

constexpr int kTries = 10;  // other programs take time, too

std::atomic<int> drops{0};
QtMessageHandler plainHandler = nullptr;

void countDrops(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (text == QLatin1String("drop"))
        ++drops;
    plainHandler(type, context, text);
}

}  // namespace

/// Somebody, or the network, sets the clock while the window runs.
class TestClockFaults : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { plainHandler = qInstallMessageHandler(countDrops); }
    void cleanupTestCase() {
        shared.reset();
        qInstallMessageHandler(plainHandler);
    }
    void cleanup() { setclock::set(0); }
    void clockIsTheSetOne();
    void framesGoOn_data();
    void framesGoOn();
    void overlayFollows();
    void nameThatComesAgainIsTold();
    void nameThatComesAgainOfATile();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = {});
    static QString note(const WindowUnderTest& window) {
        const auto* label = window->findChild<QLabel*>(QStringLiteral("statusNote"));
        return label->isHidden() ? QString() : label->text();
    }
    static QStringList snapshots() { return QDir().entryList({QStringLiteral("snapshot-*")}); }

    std::unique_ptr<WindowUnderTest> shared;
};

void TestClockFaults::start(WindowUnderTest& window, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        "[Pos]\nX0=0\nX1=64\nX2=128\nX3=192\nY1=0\nY2=0\nY3=0\n[File]\nLang=1\nType=2\n" + ini));
    window.start();
    QTRY_VERIFY(window->isMaximized());
}

/// The test's own tool: the wall clock jumps, what timers and waits have does not.
void TestClockFaults::clockIsTheSetOne() {
    const QDateTime before = QDateTime::currentDateTime();
    QElapsedTimer elapsed;
    elapsed.start();
    setclock::set(-24 * 3600 * 1000);
    QVERIFY(QDateTime::currentDateTime() < before.addSecs(-23 * 3600));
    setclock::set(3600 * 1000);
    QVERIFY(QDateTime::currentMSecsSinceEpoch() > before.toMSecsSinceEpoch() + 3599 * 1000);
    QVERIFY(elapsed.elapsed() < 10000);
    setclock::stop(123456);
    QCOMPARE(QDateTime::currentMSecsSinceEpoch(), 123456);
}

void TestClockFaults::framesGoOn_data() {
    QTest::addColumn<qint64>("shift");
    const qint64 hour = 3600 * 1000;
    QTest::newRow("an hour back") << -hour;
    QTest::newRow("an hour forward") << hour;
    QTest::newRow("little back") << qint64(-20);
    QTest::newRow("little forward") << qint64(20);
    QTest::newRow("a second back") << qint64(-1000);
    QTest::newRow("a second forward") << qint64(1000);
    QTest::newRow("ten years back") << -10 * 365 * 24 * hour;
    QTest::newRow("ten years forward") << 10 * 365 * 24 * hour;
}

/// A jump costs a tile the frame that is under way, which has a time stamp of the old time, and no more.
void TestClockFaults::framesGoOn() {
    QFETCH(qint64, shift);
    if (!shared) {
        recording::reset(4);
        for (int i = 0; i < 4; ++i) {
            recording::Camera camera;
            camera.serial = "SN" + QByteArray::number(i);
            camera.queryDelay = 15;
            recording::setCamera(i, camera);
        }
        shared = std::make_unique<WindowUnderTest>();
        start(*shared);
    }
    WindowUnderTest& window = *shared;
    QVERIFY(window.waitForTiles(4));
    const FrameRates rates(window);
    QString harm;
    QVector<double> before;
    for (int i = 0; i < kTries; ++i) {
        setclock::set(i % 2 == 0 ? 0 : shift);
        rates.measure(100);
        if (i == 0 || !harm.isEmpty())
            before = rates.measure();
        drops = 0;
        setclock::set(i % 2 == 0 ? shift : 0);  // this jump and the one that takes it back
        const QVector<double> now = rates.measure();
        const int dropped = drops;
        bool isUnharmed = dropped <= now.size();
        for (int tile = 0; tile < now.size(); ++tile)
            isUnharmed =
                isUnharmed && now[tile] >= kUnharmed * before[tile] && now[tile] <= before[tile] / kUnharmed;
        harm = isUnharmed ? QString()
                          : QStringLiteral("%1 dropped, before %2, now %3")
                                .arg(dropped)
                                .arg(FrameRates::text(before), FrameRates::text(now));
        if (isUnharmed && i > 0)
            break;
    }
    QVERIFY2(harm.isEmpty(), qPrintable(harm));
    // The pictures are those of the new time.
    setclock::set(shift);
    for (auto* tile : window.tiles()) {
        QTRY_VERIFY(qAbs(tile->data(kTimestampOfTile).toLongLong() - QDateTime::currentMSecsSinceEpoch()) <
                    300);
    }
}

void TestClockFaults::overlayFollows() {
    shared.reset();  // its cameras go
    recording::reset(1);
    WindowUnderTest window;
    start(window, "DTFormat=yyyy-MM-dd HH:mm\n");
    QVERIFY(window.waitForTiles(1));
    window.action("actionDate_Time")->trigger();
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {},
                      window.view()->mapFromScene(QPointF(5, 20)));
    const TextMark* overlay = nullptr;
    for (const QGraphicsItem* item : window.view()->scene()->items()) {
        if (const auto* text = dynamic_cast<const TextMark*>(item))
            overlay = text;
    }
    QVERIFY(overlay);
    for (const qint64 days : {0, -400, 400, -4000, 0}) {
        setclock::set(days * 24 * 3600 * 1000);
        const auto now = [] {
            return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm "));
        };
        QTRY_COMPARE_WITH_TIMEOUT(overlay->text(), now(), kWait);
    }
}

/// The older picture is lost, as two pictures within a millisecond always were one, but not without a word.
void TestClockFaults::nameThatComesAgainIsTold() {
    shared.reset();  // its cameras go
    recording::reset(1);
    WindowUnderTest window;
    start(window);
    QVERIFY(window.waitForTiles(1));
    const qint64 time = QDateTime::currentMSecsSinceEpoch();
    const QString name =
        QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("'snapshot-'yyyyMMddhhmmsszzz'.png'"));
    const QString told = QStringLiteral("Picture replaced: ") + name;
    setclock::stop(time);
    window.action("action_Save")->trigger();
    QCOMPARE(note(window), QString());
    setclock::set(5);
    window->saveImage();
    QCOMPARE(note(window), QString());
    setclock::stop(time);  // an hour later, by the clock that was set back by an hour
    window->saveImage();
    QCOMPARE(note(window), told);
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./") + name);
    QCOMPARE(snapshots().size(), 2);
    // The next picture of another name takes the note away; a code that is scanned again is meant to replace.
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(note(window), QString());
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(note(window), QString());
    // What fails has replaced nothing.
    QVERIFY(QFile::remove(name) && QDir().mkdir(name));
    window->saveImage();
    QVERIFY2(note(window).startsWith(QLatin1String("Picture not written: ")), qPrintable(note(window)));
}

void TestClockFaults::nameThatComesAgainOfATile() {
    shared.reset();  // its cameras go
    recording::reset(1);
    WindowUnderTest window;
    start(window);
    QVERIFY(window.waitForTiles(1));
    window.tiles().first()->setFlag(QGraphicsItem::ItemIsSelectable);
    window.tiles().first()->setSelected(true);
    setclock::stop(QDateTime::currentMSecsSinceEpoch());
    window.action("actionSave_Single")->trigger();
    QCOMPARE(note(window), QString());
    window.action("actionSave_Single")->trigger();
    QCOMPARE(snapshots().size(), 1);
    QCOMPARE(note(window), QStringLiteral("Picture replaced: ") + snapshots().first());
}

QTEST_MAIN(TestClockFaults)
#include "tst_clockfaults.moc"
