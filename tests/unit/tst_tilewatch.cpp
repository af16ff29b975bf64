// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "live/framerate.h"
#include "live/tilewatch.h"

namespace {

using Seen = TileWatch::Seen;

const Seen kFlowing{true, true, true, 15, 0};
const Seen kSilent{true, true, false, 0, 0};
const Seen kPaused{false, true, false, 0, 0};
const Seen kLate{true, true, true, 7, 8};
const QString kOverloaded = QStringLiteral("The PC is overloaded: pictures are shown late");

}  // namespace

/// The watch over silent tiles and late pictures, with a clock of the test's own.
class TestTileWatch : public QObject {
    Q_OBJECT

private slots:
    void init();
    void silentFromTheThirdSecond();
    void theNextFrameEndsIt();
    void countsFromTheStart();
    void countsFromTheFirstLookWithoutAStart();
    void pausedTilesAreNotSilent();
    void countsFromTheResume();
    void severalTiles();
    void durations_data();
    void durations();
    void notNamedBeforeTheAnswer();
    void triggeredCamerasAreNotNamed();
    void onlySilentCamerasAreAsked();
    void askedAtMostEveryTenSeconds();
    void anAnswerEndsWithItsSilence();
    void anAnswerEndsWithTheStream();
    void whoDoesNotAnswerIsNamed();
    void whoWaitedMayTakeItsTime();
    void lateAnswersCount();
    void anAnswerFromBeforeAFrameIsOfNoUse();
    void demoTilesAreNamedUnasked();
    void overloadedAfterTenSeconds();
    void recoversAfterThreeSeconds();
    void oneGoodSecondBreaksTheRow();
    void oneLateSecondIsNothing();
    void oneLongBlockIsNothing();
    void halfIsNotMoreThanHalf();
    void oneLateTileIsEnough();
    void pausedTilesAreNotLate();
    void silentTilesAreNotLate();
    void otherLimits();
    void lateFrames();

private:
    /// Looks once a second for so many seconds.
    void look(const QVector<Seen>& tiles, int seconds = 1);
    void answerAll(bool isTriggered);

    TileWatch watch;
    qint64 now = 0;
};

void TestTileWatch::init() {
    watch = TileWatch();
    now = 5'000'000;  // the clock has been going for long
    for (int tile = 0; tile < 4; ++tile)
        watch.start(tile, now);
}

void TestTileWatch::look(const QVector<Seen>& tiles, int seconds) {
    for (int i = 0; i < seconds; ++i) {
        now += 1000;
        watch.look(tiles, now);
    }
}

void TestTileWatch::answerAll(bool isTriggered) {
    const auto questions = watch.questions();
    for (const int tile : questions) {
        watch.ask(tile);
        watch.answer(tile, isTriggered);
    }
}

void TestTileWatch::silentFromTheThirdSecond() {
    look({kFlowing});
    look({kSilent}, 2);
    QVERIFY(watch.questions().isEmpty());
    now += 999;
    watch.look({kSilent}, now);
    QVERIFY(watch.questions().isEmpty());
    now += 1;
    watch.look({kSilent}, now);
    QCOMPARE(watch.questions(), QVector<int>{0});
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 3 s"));
    look({kSilent});
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 4 s"));
    look({kSilent}, 8);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 12 s"));
}

void TestTileWatch::theNextFrameEndsIt() {
    look({kSilent}, 3);
    answerAll(false);
    QVERIFY(!watch.silence().isEmpty());
    // Also one that nobody has looked at, or that was dropped.
    look({{true, true, true, 0, 0}});
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 2);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 7);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 9 s"));
    look({{true, true, true, 0, 1}});
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::countsFromTheStart() {
    now += 100'000;  // the window stood there, and nobody streamed
    watch.start(0, now);
    look({kSilent}, 2);
    answerAll(false);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent});
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 3 s"));
}

void TestTileWatch::countsFromTheFirstLookWithoutAStart() {
    watch = TileWatch();
    look({kPaused});
    look({kSilent}, 2);
    QVERIFY(watch.questions().isEmpty());
    look({kSilent});
    QCOMPARE(watch.questions().size(), 1);
}

void TestTileWatch::pausedTilesAreNotSilent() {
    look({kPaused}, 100);
    QVERIFY(watch.questions().isEmpty());
    look({kSilent}, 3);
    answerAll(false);
    QVERIFY(!watch.silence().isEmpty());
    look({kPaused});
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::countsFromTheResume() {
    look({kSilent}, 5);
    answerAll(false);
    QVERIFY(!watch.silence().isEmpty());
    // Paused and resumed before anybody looked.
    watch.start(0, now);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 2);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 8);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 10 s"));
}

void TestTileWatch::severalTiles() {
    look({kSilent, kFlowing, kFlowing, kFlowing}, 9);
    look({kSilent, kFlowing, kSilent, kFlowing}, 2);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 11 s"));
    look({kSilent, kFlowing, kSilent, kFlowing});
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Cameras 0, 2: no picture for 12 s, 3 s"));
    QCOMPARE(watch.silentTiles(), (QVector<int>{0, 2}));
    look({kFlowing, kFlowing, kFlowing, kFlowing}, 10);
    QVERIFY(watch.silentTiles().isEmpty());
    look({kSilent, kSilent, kSilent, kSilent}, 3);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Cameras 0, 1, 2, 3: no picture for 3 s"));
    QCOMPARE(watch.silentTiles(), (QVector<int>{0, 1, 2, 3}));
}

void TestTileWatch::durations_data() {
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("text");
    QTest::newRow("a little early") << qint64{11'950} << QStringLiteral("12 s");
    QTest::newRow("a little late") << qint64{12'490} << QStringLiteral("12 s");
    QTest::newRow("seconds") << qint64{599'000} << QStringLiteral("599 s");
    QTest::newRow("minutes") << qint64{600'000} << QStringLiteral("10 min");
    QTest::newRow("most minutes") << qint64{7'199'000} << QStringLiteral("119 min");
    QTest::newRow("hours") << qint64{7'200'000} << QStringLiteral("2 h");
    QTest::newRow("most hours") << qint64{172'799'000} << QStringLiteral("47 h");
    QTest::newRow("days") << qint64{172'800'000} << QStringLiteral("2 days");
    QTest::newRow("months") << qint64{86'400'000} * 200 << QStringLiteral("200 days");
}

void TestTileWatch::durations() {
    QFETCH(qint64, ms);
    QFETCH(QString, text);
    now += ms;
    watch.look({kSilent}, now);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for ") + text);
}

void TestTileWatch::notNamedBeforeTheAnswer() {
    look({kSilent, kSilent}, 3);
    QVERIFY(watch.silence().isEmpty());
    watch.ask(1);
    QVERIFY(watch.silence().isEmpty());
    watch.answer(1, false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 1: no picture for 3 s"));
    look({kSilent, kSilent});
    QCOMPARE(watch.questions(), QVector<int>{0});  // it has its turn
}

void TestTileWatch::triggeredCamerasAreNotNamed() {
    for (int i = 0; i < 60; ++i) {
        look({kSilent});
        answerAll(true);
        QVERIFY(watch.silence().isEmpty());
    }
    // It has left the trigger mode.
    look({kSilent}, 10);
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 70 s"));
    look({kSilent}, 10);
    answerAll(true);
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::onlySilentCamerasAreAsked() {
    for (int i = 0; i < 100; ++i) {
        look({kFlowing, kPaused, i % 2 == 0 ? kFlowing : kSilent});
        QVERIFY(watch.questions().isEmpty());
    }
}

void TestTileWatch::askedAtMostEveryTenSeconds() {
    int asked = 0;
    for (int i = 0; i < 63; ++i) {
        look({kSilent});
        asked += watch.questions().size();
        answerAll(false);
    }
    QCOMPARE(asked, 7);  // after 3, 13, ... 63 s
}

/// Of a camera that is silent again and again: asked no more often for that, and not judged by what it said
/// before.
void TestTileWatch::anAnswerEndsWithItsSilence() {
    for (const bool wasTriggered : {false, true}) {
        init();
        look({kSilent}, 3);
        answerAll(wasTriggered);
        look({kFlowing});
        look({kSilent}, 8);
        QVERIFY(watch.questions().isEmpty());
        QVERIFY(watch.silence().isEmpty());
        look({kSilent});
        QCOMPARE(watch.questions(), QVector<int>{0});
        answerAll(false);
        QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 9 s"));
    }
}

void TestTileWatch::anAnswerEndsWithTheStream() {
    look({kSilent}, 3);
    answerAll(false);
    watch.start(0, now);
    look({kSilent}, 9);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent});
    QCOMPARE(watch.questions(), QVector<int>{0});
}

/// Nor asked again before it has.
void TestTileWatch::whoDoesNotAnswerIsNamed() {
    look({kSilent}, 3);
    watch.ask(0);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent});
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 4 s"));
    for (int i = 0; i < 100; ++i) {
        look({kSilent});
        QVERIFY(watch.questions().isEmpty());
    }
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 104 s"));
    watch.answer(0, false);
    QCOMPARE(watch.questions(), QVector<int>{0});
}

/// A library may let the question wait for the query that is under way: not named and cleared in turns.
void TestTileWatch::whoWaitedMayTakeItsTime() {
    look({kSilent}, 3);
    answerAll(true);
    look({kSilent}, 10);
    watch.ask(0);
    look({kSilent}, 9);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent});
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 23 s"));
    watch.answer(0, true);
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::lateAnswersCount() {
    look({kSilent}, 3);
    watch.ask(0);
    look({kSilent}, 5);
    QVERIFY(!watch.silence().isEmpty());
    watch.answer(0, true);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 4);
    QVERIFY(watch.questions().isEmpty());
    look({kSilent});
    QCOMPARE(watch.questions(), QVector<int>{0});
    watch.answer(0, false);  // nobody has asked
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::anAnswerFromBeforeAFrameIsOfNoUse() {
    look({kSilent}, 3);
    watch.ask(0);
    look({kFlowing});
    look({kSilent}, 4);
    // It still owes the answer.
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 4 s"));
    watch.answer(0, false);
    QVERIFY(watch.silence().isEmpty());
    look({kSilent}, 5);
    QCOMPARE(watch.questions(), QVector<int>{0});
    answerAll(false);
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 9 s"));
}

void TestTileWatch::demoTilesAreNamedUnasked() {
    look({{true, false, false, 0, 0}}, 3);
    QVERIFY(watch.questions().isEmpty());
    QCOMPARE(watch.silence(), QStringLiteral("Camera 0: no picture for 3 s"));
}

void TestTileWatch::overloadedAfterTenSeconds() {
    look({kFlowing}, 5);
    look({kLate}, 10);
    QVERIFY(watch.overload().isEmpty());
    look({kLate});
    QCOMPARE(watch.overload(), kOverloaded);
    look({kLate}, 100);
    QCOMPARE(watch.overload(), kOverloaded);
    QVERIFY(watch.silence().isEmpty());
}

void TestTileWatch::recoversAfterThreeSeconds() {
    look({kLate}, 11);
    look({kFlowing}, 2);
    QCOMPARE(watch.overload(), kOverloaded);
    look({kLate});
    look({kFlowing}, 2);
    QCOMPARE(watch.overload(), kOverloaded);
    look({kFlowing});
    QVERIFY(watch.overload().isEmpty());
    look({kLate}, 10);  // and ten seconds again
    QVERIFY(watch.overload().isEmpty());
}

void TestTileWatch::oneGoodSecondBreaksTheRow() {
    for (int i = 0; i < 20; ++i) {
        look({kLate}, 9);
        look({kFlowing});
        QVERIFY(watch.overload().isEmpty());
    }
}

/// The wall clock is set: the frames on their way look old, or from the future.
void TestTileWatch::oneLateSecondIsNothing() {
    look({kFlowing}, 20);
    look({{true, true, true, 0, 2}});
    look({kFlowing}, 20);
    QVERIFY(watch.overload().isEmpty());
    QVERIFY(watch.silence().isEmpty());
}

/// A disk that did not answer for half a minute, while frames came.
void TestTileWatch::oneLongBlockIsNothing() {
    look({kFlowing});
    now += 30'000;
    watch.look({kLate}, now);
    QVERIFY(watch.overload().isEmpty());
    look({kFlowing});
    QVERIFY(watch.overload().isEmpty());
}

void TestTileWatch::halfIsNotMoreThanHalf() {
    look({{true, true, true, 8, 8}}, 30);
    QVERIFY(watch.overload().isEmpty());
    look({{true, true, true, 8, 9}}, 11);
    QCOMPARE(watch.overload(), kOverloaded);
}

void TestTileWatch::oneLateTileIsEnough() {
    look({kFlowing, kFlowing, kLate, kFlowing}, 11);
    QCOMPARE(watch.overload(), kOverloaded);
}

void TestTileWatch::pausedTilesAreNotLate() {
    const Seen rest{false, true, true, 0, 3};  // what was under way
    look({kFlowing, rest}, 30);
    QVERIFY(watch.overload().isEmpty());
    look({kLate, kFlowing}, 11);
    look({kPaused, kPaused});
    QVERIFY(watch.overload().isEmpty());
}

void TestTileWatch::silentTilesAreNotLate() {
    look({kSilent}, 30);
    QVERIFY(watch.overload().isEmpty());
    look({kLate}, 11);
    look({kSilent}, 3);
    QVERIFY(watch.overload().isEmpty());
}

void TestTileWatch::otherLimits() {
    watch = TileWatch({100, 200, 300, 400});
    watch.start(0, now);
    now += 100;
    watch.look({kSilent}, now);
    answerAll(false);
    QVERIFY(!watch.silence().isEmpty());
    now += 199;
    watch.look({kLate}, now);
    watch.look({kSilent}, now + 100);
    QCOMPARE(watch.questions().size(), 1);
    watch.look({kLate}, now);
    watch.look({kLate}, now + 299);
    QVERIFY(watch.overload().isEmpty());
    watch.look({kLate}, now + 300);
    QVERIFY(!watch.overload().isEmpty());
    watch.look({kFlowing}, now + 699);
    QVERIFY(!watch.overload().isEmpty());
    watch.look({kFlowing}, now + 700);
    QVERIFY(watch.overload().isEmpty());
}

void TestTileWatch::lateFrames() {
    QVERIFY(!isLate(1000, 1000));
    QVERIFY(!isLate(1000, 800));
    QVERIFY(isLate(1000, 799));
    QVERIFY(isLate(1000, 1001));  // as isStale() has it
}

QTEST_APPLESS_MAIN(TestTileWatch)
#include "tst_tilewatch.moc"
