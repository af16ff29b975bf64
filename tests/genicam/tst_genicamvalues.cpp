// SPDX-License-Identifier: Apache-2.0
// What becomes of values that are set and asked for while a camera is slow, away, exchanged or in automatic,
// and what a slot brings back: by the library's operations alone.
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "camera/kvcap2.h"
#include "cameraoperations.h"
#include "fakecameras.h"
#include "privatenetwork.h"

using namespace operations;

namespace {

constexpr int kTimeout = 300;   // ms, of queries
constexpr int kBack = 15000;    // ms until a camera is there again
constexpr int kOpens = 20000;   // ms until one that answers has done what it was asked for, on a busy machine
constexpr int kSlack = 1500;    // ms that a busy machine takes for nothing
constexpr int kAnswer = 100;    // ms that a parameter call may take
constexpr int kGone = -7;       // no camera there
constexpr int kNoAnswer = -11;  // none in time
constexpr int kNothing = -4711;

enum Camera { Plain, Slow, Sets, Locked, Changed, kCameras };

/// What a getter leaves behind, whatever its status.
struct Got {
    int32_t status;
    int32_t value = kNothing;
};
template <typename Getter>
Got got(Getter getter, int camera) {
    Got result{0};
    result.status = getter(camera, &result.value);
    return result;
}
template <typename Getter>
bool has(Getter getter, int camera, int value) {
    const Got now = got(getter, camera);
    return now.status == 0 && now.value == value;
}
bool isSet(int32_t status) {
    return status == 0 || status == kGone || status == kNoAnswer;
}

}  // namespace

class GenicamValuesTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void isSetWhenItIsBack();
    void anAwayCameraShowsWhatItHad();
    void automaticsComeBeforeValues();
    void isSetWhenItAnswersAgain();
    void slowCameraTakesTheLastOfABurst();
    void slowCameraIsNotStuck();
    void whatItLacksIsNotWanted();
    void whatTheAutomaticFoundStays();
    void aSlotIsWhatWasSaved();
    void aSlotKeepsToTheSize();
    void lockedFeaturesAreWritten();
    void anotherCameraHasValuesOfItsOwn();

private:
    void open(int camera) {
        QCOMPARE(fakes_.start(camera), QString());
        CameraInit(camera);
        QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
        QVERIFY2(deliversWithin(camera, kBack), qPrintable(log_->text()));
    }
    void loseIt(int camera) {
        fakes_.kill(camera);
        // The keeper may hang in an access; a query notices all the same.
        const QString serial = QString::fromLatin1(fakes_.serial(camera));
        QVERIFY2(becomes(
                     [&] {
                         return query(camera).status != 0 && log_->count({serial, "has gone"}) > 0;
                     },
                     5000),
                 qPrintable(log_->text()));
    }
    void takeBack(int camera) {
        QCOMPARE(fakes_.start(camera), QString());
        QVERIFY2(deliversWithin(camera, kBack), qPrintable(log_->text()));
    }

    QTemporaryDir folder_;
    FakeCameras fakes_{kCameras, {"--width", "320", "--height", "240", "--rate", "40"}};
    std::unique_ptr<Log> log_;
};

void GenicamValuesTest::initTestCase() {
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    log_ = std::make_unique<Log>();
    fakes_.setOptions(Slow, {"--slow-answers", "40"});
    fakes_.setOptions(Sets, {"--user-sets", "little"});
    fakes_.setOptions(Locked, {"--locked", "mirrors,gain"});
    fakes_.setOptions(Changed, {"--features", "all,-userset", "--exposure", "5000"});
    QCOMPARE(fakes_.writeConfiguration(folder_.path(), {"PacketSize=4000"}), QString());
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, int(kCameras));
    open(Plain);
    open(Slow);
}

/// Whatever came before: the first one runs.
void GenicamValuesTest::init() {
    if (!deliversWithin(Plain, kTimeout)) {
        QCOMPARE(fakes_.restart(Plain), QString());
        QVERIFY2(deliversWithin(Plain, kBack), qPrintable(log_->text()));
    }
    log_->clear();
}

void GenicamValuesTest::cleanupTestCase() {
    for (int camera = 0; camera < kCameras; ++camera)
        CameraFree(camera);
    log_.reset();
    QDir::setCurrent(QDir::rootPath());
}

void GenicamValuesTest::isSetWhenItIsBack() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Plain, 32), 0, kOpens);
    loseIt(Plain);
    QCOMPARE(CameraSetGain(Plain, 70), kGone);
    QCOMPARE(CameraSetGain(Plain, 77), kGone);
    QCOMPARE(CameraSetMirrorX(Plain, true), kGone);
    QCOMPARE(CameraSetSnapMode(Plain, kSnapContinuous), kGone);
    takeBack(Plain);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetGain, Plain, 77), kOpens);
    bool mirror = false;
    QTRY_COMPARE_WITH_TIMEOUT(CameraGetMirrorX(Plain, &mirror), 0, kOpens);
    QVERIFY(mirror);
}

void GenicamValuesTest::anAwayCameraShowsWhatItHad() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Plain, 321), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Plain, 321), kOpens);
    // Also what nobody has asked for, as soon as the camera has had time to tell.
    QTest::qWait(500);
    loseIt(Plain);
    const Got exposure = got(CameraGetExposure, Plain);
    QCOMPARE(exposure.status, kGone);
    QCOMPARE(exposure.value, 321);
    QCOMPARE(got(CameraGetAETarget, Plain).value, 128);
    QCOMPARE(CameraSetExposure(Plain, 400), kGone);
    QCOMPARE(got(CameraGetExposure, Plain).value, 400);
    bool mirror = true;
    QCOMPARE(CameraGetMirrorY(Plain, &mirror), kGone);
    QVERIFY(!mirror);
    takeBack(Plain);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Plain, 400), kOpens);
}

void GenicamValuesTest::automaticsComeBeforeValues() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetAEC(Plain, true), 0, kOpens);
    loseIt(Plain);
    // In this order the automatic would have the last word.
    QCOMPARE(CameraSetExposure(Plain, 876), kGone);
    QCOMPARE(CameraSetAEC(Plain, false), kGone);
    takeBack(Plain);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Plain, 876), kOpens);
    bool isAutomatic = true;
    QTRY_COMPARE_WITH_TIMEOUT(CameraGetAEC(Plain, &isAutomatic), 0, kOpens);
    QVERIFY(!isAutomatic);
}

void GenicamValuesTest::isSetWhenItAnswersAgain() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Plain, 32), 0, kOpens);
    fakes_.freeze(Plain);
    const Clock::time_point begin = Clock::now();
    for (int gain = 50; gain <= 55; ++gain) {
        const int32_t status = CameraSetGain(Plain, gain);
        QVERIFY2(status == kNoAnswer || status == kGone, qPrintable(QString::number(status)));
    }
    QVERIFY(since(begin) < 2 * kAnswer + kSlack);
    QCOMPARE(got(CameraGetGain, Plain).value, 55);
    fakes_.thaw(Plain);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetGain, Plain, 55), kBack);
}

void GenicamValuesTest::slowCameraTakesTheLastOfABurst() {
    for (int gain = 20; gain < 40; ++gain) {
        const Clock::time_point begin = Clock::now();
        const int32_t status = CameraSetGain(Slow, gain);
        QVERIFY2(isSet(status), qPrintable(QString::number(status)));
        QVERIFY(since(begin) <= kAnswer + kSlack);
        QCOMPARE(CameraSetBlackLevel(Slow, gain) == kGone, false);
    }
    QCOMPARE(got(CameraGetGain, Slow).value, 39);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetGain, Slow, 39), kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetBlackLevel, Slow, 39), kOpens);
    QCOMPARE(log_->count("has gone"), 0);
}

void GenicamValuesTest::slowCameraIsNotStuck() {
    // It has told everything once; a change then makes it busy.
    QTRY_VERIFY_WITH_TIMEOUT(got(CameraGetSnapMode, Slow).status == 0, kOpens);
    // Three rounds are enough for it on a PC that has the time.
    int answered = 0;
    for (int round = 0; round < 20 && answered < 12; ++round) {
        CameraSetGamma(Slow, 1 + (round % 10) / 10.0);
        for (auto* getter : {CameraGetBlackLevel, CameraGetAdvancedGain, CameraGetGain, CameraGetExposure,
                             CameraGetAETarget, CameraGetAntiFlicker, CameraGetDelay, CameraGetSnapMode}) {
            const Clock::time_point begin = Clock::now();
            const Got now = got(getter, Slow);
            QVERIFY2(now.status == 0 || now.status == kNoAnswer, qPrintable(QString::number(now.status)));
            QVERIFY(since(begin) <= kAnswer + kSlack);
            QVERIFY(now.value != kNothing);
            answered += now.status == 0 ? 1 : 0;
        }
    }
    QVERIFY2(answered >= 12, qPrintable(QString::number(answered)));
}

void GenicamValuesTest::whatItLacksIsNotWanted() {
    double contrast = kNothing;
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetContrast(Plain, 2), -10, kOpens);
    QCOMPARE(CameraGetContrast(Plain, &contrast), -10);
    QCOMPARE(contrast, double(kNothing));
    loseIt(Plain);
    QCOMPARE(CameraSetContrast(Plain, 2), kGone);
    QCOMPARE(CameraGetContrast(Plain, &contrast), kGone);
    QCOMPARE(contrast, double(kNothing));
    takeBack(Plain);
}

void GenicamValuesTest::whatTheAutomaticFoundStays() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetAGC(Plain, false), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Plain, 50), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetAEC(Plain, true), 0, kOpens);
    QVERIFY(becomes(
        [&] {
            query(Plain);
            return got(CameraGetExposure, Plain).value > 300;
        },
        kOpens));
    // Saved as it is in effect, although something else is wanted.
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetAEC(Plain, false), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(got(CameraGetExposure, Plain).status, 0, kOpens);
    const int found = got(CameraGetExposure, Plain).value;
    QVERIFY(found > 300);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSaveParameter(Plain, 0), 0, kOpens);
    loseIt(Plain);
    takeBack(Plain);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Plain, found), kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Plain, 60), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraLoadParameter(Plain, 0), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Plain, found), kOpens);
}

void GenicamValuesTest::aSlotIsWhatWasSaved() {
    open(Sets);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Sets, 33), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetMirrorX(Sets, true), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Sets, kSnapTriggered), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSaveParameter(Sets, 0), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Sets, 44), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetMirrorX(Sets, false), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Sets, kSnapContinuous), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraLoadParameter(Sets, 0), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetSnapMode, Sets, kSnapTriggered), kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetGain, Sets, 33), kOpens);
    bool mirror = false;
    QTRY_COMPARE_WITH_TIMEOUT(CameraGetMirrorX(Sets, &mirror), 0, kOpens);
    QVERIFY(mirror);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Sets, kSnapContinuous), 0, kOpens);
}

void GenicamValuesTest::aSlotKeepsToTheSize() {
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetResolution(Sets, 1, &width, &height), 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Sets, 1, width, height), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSaveParameter(Sets, 1), 0, kOpens);
    QFile file(QStringLiteral("kvcap2-genicam-FAKE0003.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray text = file.readAll();
    file.close();
    QVERIFY(text.contains("\"ResolutionWidth\": 160"));
    // The mode has another number now; and one that there is no more is left out.
    for (const char* number : {"2", "7"}) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(text).replace("\"Resolution\": 1", QByteArray("\"Resolution\": ") + number));
        file.close();
        QTRY_COMPARE_WITH_TIMEOUT(CameraLoadParameter(Sets, 1), 0, kOpens);
        QVERIFY(deliversWithin(Sets, kOpens));
        QCOMPARE(query(Sets).size, QSize(160, 120));
    }
}

void GenicamValuesTest::lockedFeaturesAreWritten() {
    open(Locked);
    for (const int gain : {30, 40}) {
        QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Locked, gain), 0, kOpens);
        QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetGain, Locked, gain), kOpens);
        QTRY_COMPARE_WITH_TIMEOUT(CameraSetMirrorY(Locked, gain == 30), 0, kOpens);
        bool mirror = gain != 30;
        QTRY_COMPARE_WITH_TIMEOUT(CameraGetMirrorY(Locked, &mirror), 0, kOpens);
        QCOMPARE(mirror, gain == 30);
        QVERIFY(deliversWithin(Locked, kOpens));
    }
}

void GenicamValuesTest::anotherCameraHasValuesOfItsOwn() {
    open(Changed);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Changed, 700), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraLoadParameter(Changed, 2), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Changed, 500), kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Changed, 700), 0, kOpens);
    loseIt(Changed);
    fakes_.setOptions(Changed, {"--features", "all,-userset", "--exposure", "20000", "--serial", "ANOTHER"});
    takeBack(Changed);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Changed, 700), kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraLoadParameter(Changed, 2), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(has(CameraGetExposure, Changed, 2000), kOpens);
}

CAMERA_TEST_MAIN(GenicamValuesTest)
#include "tst_genicamvalues.moc"
