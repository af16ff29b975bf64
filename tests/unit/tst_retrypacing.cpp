// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "camera/retrypacing.h"

namespace {

constexpr int64_t kRefused = 20;          // us
constexpr int64_t kTimedOut = 1'500'000;  // us

/// The last wait of so many tries that are refused at once.
int afterRefusals(RetryPacing& pacing, int count) {
    int wait = -1;
    for (int i = 0; i < count; ++i)
        wait = pacing.waitAfter(kRefused);
    return wait;
}

}  // namespace

class TestRetryPacing : public QObject {
    Q_OBJECT

private slots:
    void ordinaryFailuresWaitForNothing();
    void waitsGrow_data();
    void waitsGrow();
    void neverLongerThanTheLongest();
    void aFrameBringsFullSpeed();
    void timeOutsWaitForNothing();
    void whatTookItsTimeForgetsHalf();
    void edgeOfAtOnce();
};

void TestRetryPacing::ordinaryFailuresWaitForNothing() {
    RetryPacing pacing;
    for (int i = 1; i < 200; ++i)
        QCOMPARE(pacing.waitAfter(kRefused), 0);
    QCOMPARE(pacing.waitAfter(kRefused), 1);
}

void TestRetryPacing::waitsGrow_data() {
    QTest::addColumn<int>("refusals");
    QTest::addColumn<int>("wait");
    QTest::newRow("first") << 200 << 1;
    QTest::newRow("last of the first") << 299 << 1;
    QTest::newRow("second") << 300 << 2;
    QTest::newRow("third") << 400 << 4;
    QTest::newRow("fourth") << 500 << 8;
    QTest::newRow("fifth") << 600 << 16;
    QTest::newRow("sixth") << 700 << 32;
    QTest::newRow("last of the sixth") << 799 << 32;
    QTest::newRow("longest") << 800 << 50;
}

void TestRetryPacing::waitsGrow() {
    QFETCH(int, refusals);
    QFETCH(int, wait);
    RetryPacing pacing;
    QCOMPARE(afterRefusals(pacing, refusals), wait);
}

/// A camera that is ill for months.
void TestRetryPacing::neverLongerThanTheLongest() {
    RetryPacing pacing;
    QCOMPARE(afterRefusals(pacing, 10'000'000), RetryPacing::kLongestWait);
}

void TestRetryPacing::aFrameBringsFullSpeed() {
    RetryPacing pacing;
    afterRefusals(pacing, 1000);
    pacing.startAnew();
    QCOMPARE(afterRefusals(pacing, 199), 0);
    QCOMPARE(afterRefusals(pacing, 1), 1);
}

void TestRetryPacing::timeOutsWaitForNothing() {
    RetryPacing pacing;
    for (int i = 0; i < 1000; ++i)
        QCOMPARE(pacing.waitAfter(kTimedOut), 0);
    // Not even after a time of refusals.
    afterRefusals(pacing, 1000);
    QCOMPARE(pacing.waitAfter(kTimedOut), 0);
}

/// One try that was kept waiting by a busy PC does not let hundreds go at full speed again.
void TestRetryPacing::whatTookItsTimeForgetsHalf() {
    RetryPacing pacing;
    afterRefusals(pacing, 5000);  // as 800
    pacing.waitAfter(kTimedOut);
    QCOMPARE(pacing.waitAfter(kRefused), 4);  // the 401st
    pacing.waitAfter(kTimedOut);
    QCOMPARE(pacing.waitAfter(kRefused), 1);  // the 201st
    pacing.waitAfter(kTimedOut);
    QCOMPARE(pacing.waitAfter(kRefused), 0);
}

void TestRetryPacing::edgeOfAtOnce() {
    RetryPacing pacing;
    for (int i = 0; i < 1000; ++i)
        QCOMPARE(pacing.waitAfter(1000), 0);
    for (int i = 0; i < 199; ++i)
        pacing.waitAfter(999);
    QCOMPARE(pacing.waitAfter(0), 1);
}

QTEST_APPLESS_MAIN(TestRetryPacing)
#include "tst_retrypacing.moc"
