// SPDX-License-Identifier: Apache-2.0
// A camera that refuses what it is asked for just now, or falls silent over it, and what the program gets to
// know of it: by the library's operations alone.
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "camera/kvcap2.h"
#include "cameraoperations.h"
#include "fakecameras.h"
#include "privatenetwork.h"

using namespace operations;

namespace {

constexpr int kBack = 60000;    // ms until a camera is there again, on a busy machine
constexpr int kGivesUp = 4000;  // ms, more than a request is repeated for
constexpr int kGone = -7;       // no camera there
constexpr int kRefused = -6;    // by the camera
constexpr int kNoAnswer = -11;  // in time
constexpr int kNothing = -4711;
constexpr int kBadArgument = -3;
constexpr int kBadIndex = -1;
enum Camera { Present, Absent, kCameras };
constexpr int kFull = 0;
constexpr int kHalf = 1;
const QSize kFullSize(320, 240);
const QSize kHalfSize(160, 120);

}  // namespace

class GenicamRefusalsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void wrongArgumentsAreRefused();
    void modeThatItRefuses();
    void slotOfAModeThatItRefuses();
    void refusedSlotChangesNothing();
    void slotsThatItRefuses();
    void valueThatItRefuses();
    void startThatItRefuses();
    void modeThatItRefusesWhenItIsBack();
    void knowsNoModesOfOneThatIsNotThere();
    void fallsSilentWhileItIsTakenBack_data();
    void fallsSilentWhileItIsTakenBack();
    void fallsSilentOverIt_data();
    void fallsSilentOverIt();

private:
    void setTrouble(const QByteArray& names) {
        // Read by the camera at any time: as a whole or not at all.
        QSaveFile file(folder_.filePath("trouble"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(names) == names.size() && file.commit());
    }
    /// The status of a call, which is made until it has this one: on a busy machine it may come too late, or
    /// miss the camera.
    static int32_t statusOf(const std::function<int32_t()>& call, int32_t wanted = 0) {
        int32_t status = kNothing;
        becomes(
            [&] {
                status = call();
                return status == wanted;
            },
            kBack);
        return status;
    }
    static int32_t statusOf(int32_t (*setter)(int32_t, int32_t), int32_t value, int32_t wanted = 0) {
        return statusOf([=] { return setter(0, value); }, wanted);
    }
    static int32_t statusOfMode(int mode, int32_t wanted = 0) {
        return statusOf([=] { return setMode(mode); }, wanted);
    }
    /// What a getter gives, until it is this.
    static int32_t valueOf(int32_t (*getter)(int32_t, int32_t*), int32_t wanted) {
        int32_t value = kNothing;
        becomes([&] { return getter(0, &value) == 0 && value == wanted; }, kBack);
        return value;
    }
    static int32_t setMode(int mode) {
        const QSize size = mode == kHalf ? kHalfSize : kFullSize;
        return CameraSetResolution(0, mode, size.width(), size.height());
    }
    /// A frame of the size that the camera is told to have; none: empty.
    QSize frameSize() {
        QSize size;
        becomes(
            [&] {
                const Shot shot = query(0);
                size = shot.status == 0 ? shot.size : QSize();
                return !size.isEmpty();
            },
            kBack);
        return size;
    }

    QTemporaryDir folder_;
    FakeCameras fakes_{kCameras, {"--width", "320", "--height", "240", "--rate", "40"}};
    std::unique_ptr<Log> log_;
};

void GenicamRefusalsTest::initTestCase() {
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    log_ = std::make_unique<Log>();
    fakes_.setOptions(0, {"--trouble-file", folder_.filePath("trouble")});
    QCOMPARE(fakes_.start(Present), QString());
    QCOMPARE(fakes_.writeConfiguration(folder_.path(), {"PacketSize=4000", "PacketDelay=1000"},
                                       {"AnswerWithin=1000"}),
             QString());
}

void GenicamRefusalsTest::cleanupTestCase() {
    CameraFree(0);
    log_.reset();
    QDir::setCurrent(QDir::rootPath());
}

void GenicamRefusalsTest::init() {
    setTrouble("");
    CameraInit(0);
    QCOMPARE(CameraSetTimeout(0, 300), 0);
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QCOMPARE(statusOf(CameraSetSnapMode, kSnapContinuous), 0);
    QCOMPARE(statusOfMode(kFull), 0);
    QCOMPARE(frameSize(), kFullSize);
    log_->clear();
}

void GenicamRefusalsTest::wrongArgumentsAreRefused() {
    int32_t number = 0;
    int32_t other = 0;
    bool isOn = false;
    std::array<uint8_t, 16> pixels{};
    QCOMPARE(CameraGetCount(nullptr), kBadArgument);
    QCOMPARE(CameraGetGain(0, nullptr), kBadArgument);
    QCOMPARE(CameraGetAEC(0, nullptr), kBadArgument);
    QCOMPARE(CameraGetTimeout(0, nullptr), kBadArgument);
    QCOMPARE(CameraGetResolutionCount(0, nullptr), kBadArgument);
    QCOMPARE(CameraGetResolution(0, kFull, nullptr, &number), kBadArgument);
    QCOMPARE(CameraGetResolution(0, 99, &number, &other), kBadArgument);
    QCOMPARE(CameraGetResolution(0, -1, &number, &other), kBadArgument);
    QCOMPARE(CameraSetResolution(0, 99, 320, 240), kBadArgument);
    QCOMPARE(CameraSetResolution(0, kFull, 321, 240), kBadArgument);
    QCOMPARE(CameraGetImageSize(0, &number, nullptr), kBadArgument);
    QCOMPARE(CameraGetImageBufferSize(0, &number, 4711), kBadArgument);
    QCOMPARE(CameraQueryImage(0, pixels.data(), &number, 4711), kBadArgument);
    QCOMPARE(CameraQueryImage(0, nullptr, &number, kFormatMono8), kBadArgument);
    QCOMPARE(CameraReadSerialNumber(0, nullptr, 12), kBadArgument);
    QCOMPARE(CameraSaveParameter(0, -1), kBadArgument);
    QCOMPARE(CameraLoadParameter(0, 4711), kBadArgument);
    QCOMPARE(CameraGetMirrorX(99, &isOn), kBadIndex);
    // A picture does not fit into 16 bytes, which stay as they are.
    number = static_cast<int32_t>(pixels.size());
    QVERIFY(CameraQueryImage(0, pixels.data(), &number, kFormatMono8) != 0);
    QCOMPARE(pixels, (std::array<uint8_t, 16>{}));
}

/// It stays in the mode that it has.
void GenicamRefusalsTest::modeThatItRefuses() {
    setTrouble("binning");
    QCOMPARE(statusOfMode(kHalf, kRefused), kRefused);
    QVERIFY2(log_->count("resolution mode 1 fails: BinningHorizontal cannot be 2") > 0,
             qPrintable(log_->text()));
    QCOMPARE(frameSize(), kFullSize);
    setTrouble("");
    QCOMPARE(statusOfMode(kHalf), 0);
    QCOMPARE(frameSize(), kHalfSize);
}

/// It serves on in the mode that it has, whatever the slot would have.
void GenicamRefusalsTest::slotOfAModeThatItRefuses() {
    QCOMPARE(statusOfMode(kHalf), 0);
    QCOMPARE(statusOf(CameraSaveParameter, 1), 0);
    QCOMPARE(statusOfMode(kFull), 0);
    setTrouble("binning");
    QCOMPARE(statusOf(CameraLoadParameter, 1, kRefused), kRefused);
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QCOMPARE(frameSize(), kFullSize);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(statusOf([&] { return CameraGetImageSize(0, &width, &height); }), 0);
    QCOMPARE(QSize(width, height), kFullSize);
    setTrouble("");
    QCOMPARE(statusOf(CameraLoadParameter, 1), 0);
    QCOMPARE(frameSize(), kHalfSize);
}

/// What the camera has loaded by then is undone.
void GenicamRefusalsTest::refusedSlotChangesNothing() {
    QTRY_COMPARE_WITH_TIMEOUT(setMode(kHalf), 0, kBack);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(0, 64), 0, kBack);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSaveParameter(0, 1), 0, kBack);
    QTRY_COMPARE_WITH_TIMEOUT(setMode(kFull), 0, kBack);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(0, 32), 0, kBack);
    int32_t gain = 0;
    QTRY_VERIFY_WITH_TIMEOUT(CameraGetGain(0, &gain) == 0 && gain == 32, kBack);
    setTrouble("binning");
    QVERIFY(becomes(
        [&] {
            CameraLoadParameter(0, 1);
            return log_->count("slot 1 fails: BinningHorizontal cannot be 2") > 0;
        },
        kBack));
    QTRY_VERIFY_WITH_TIMEOUT(CameraGetGain(0, &gain) == 0 && gain == 32, kBack);
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QCOMPARE(frameSize(), kFullSize);
    setTrouble("");
}

void GenicamRefusalsTest::slotsThatItRefuses() {
    QCOMPARE(statusOf(CameraSaveParameter, 2), 0);
    setTrouble("user-set");
    QCOMPARE(statusOf(CameraSaveParameter, 2, kRefused), kRefused);
    QCOMPARE(statusOf(CameraLoadParameter, 2, kRefused), kRefused);
    QCOMPARE(frameSize(), kFullSize);
    setTrouble("");
    QCOMPARE(statusOf(CameraSaveParameter, 2), 0);
    QCOMPARE(statusOf(CameraLoadParameter, 2), 0);
}

/// Neither the value nor the one before is lost, whichever the camera has.
void GenicamRefusalsTest::valueThatItRefuses() {
    QCOMPARE(statusOf(CameraSetGain, 32), 0);
    setTrouble("gain\ntrigger");
    QCOMPARE(statusOf(CameraSetGain, 64, kRefused), kRefused);
    QCOMPARE(statusOf(CameraSetSnapMode, kSnapTriggered, kRefused), kRefused);
    QCOMPARE(valueOf(CameraGetGain, 32), 32);
    QCOMPARE(valueOf(CameraGetSnapMode, kSnapContinuous), static_cast<int32_t>(kSnapContinuous));
    QCOMPARE(frameSize(), kFullSize);
    setTrouble("");
    QCOMPARE(statusOf(CameraSetGain, 64), 0);
}

/// Told once, and served again as soon as it starts.
void GenicamRefusalsTest::startThatItRefuses() {
    setTrouble("start");
    QVERIFY2(becomes(
                 [&] {
                     setMode(kHalf);
                     return log_->count("cannot be used: it does not start") > 0;
                 },
                 kBack),
             qPrintable(log_->text()));
    QVERIFY(query(0).status != 0);
    // The next try is after two seconds, and no news.
    QTest::qWait(3000);
    QCOMPARE(log_->count("cannot be used: it does not start"), 1);
    setTrouble("");
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QVERIFY2(log_->count("has gone") == 0, qPrintable(log_->text()));
}

/// The mode stays what it was: told once, and served again as soon as the camera has it.
void GenicamRefusalsTest::modeThatItRefusesWhenItIsBack() {
    QCOMPARE(statusOfMode(kHalf), 0);
    QCOMPARE(frameSize(), kHalfSize);
    fakes_.kill(0);
    setTrouble("binning");
    QCOMPARE(fakes_.start(0), QString());
    QVERIFY2(becomes(
                 [&] {
                     query(0);
                     return log_->count("cannot be used: BinningHorizontal cannot be 2") == 1;
                 },
                 kBack),
             qPrintable(log_->text()));
    QVERIFY(query(0).status != 0);
    setTrouble("");
    QCOMPARE(frameSize(), kHalfSize);
    QCOMPARE(log_->count("cannot be used"), 1);
}

void GenicamRefusalsTest::knowsNoModesOfOneThatIsNotThere() {
    QVERIFY(CameraInit(Absent) != 0);
    int32_t width = kNothing;
    int32_t height = kNothing;
    int32_t count = kNothing;
    QCOMPARE(CameraGetResolutionCount(Absent, &count), kGone);
    QCOMPARE(count, 0);
    QCOMPARE(CameraGetResolution(Absent, kFull, &width, &height), kGone);
    QCOMPARE(CameraGetImageSize(Absent, &width, &height), kGone);
    QCOMPARE(CameraGetImageBufferSize(Absent, &width, kFormatMono8), kGone);
    QCOMPARE(CameraSetResolution(Absent, kFull, 320, 240), kGone);
    QCOMPARE(width, kNothing);
    QCOMPARE(height, kNothing);
    QCOMPARE(CameraFree(Absent), 0);
}

void GenicamRefusalsTest::fallsSilentWhileItIsTakenBack_data() {
    QTest::addColumn<QByteArray>("what");
    QTest::newRow("when it gets its values") << QByteArray("gain");
    QTest::newRow("when it is started") << QByteArray("start");
}

/// No line but those of the first time: it has gone, it is back.
void GenicamRefusalsTest::fallsSilentWhileItIsTakenBack() {
    QFETCH(QByteArray, what);
    QCOMPARE(statusOf(CameraSetGain, 64), 0);
    fakes_.kill(0);
    setTrouble(what + '!');
    QCOMPARE(fakes_.start(0), QString());
    // For longer than a request is repeated.
    QVERIFY(!deliversWithin(0, 2 * kGivesUp));
    setTrouble("");
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QCOMPARE(valueOf(CameraGetGain, 64), 64);
    QVERIFY2(log_->count("has gone") == 1 && log_->count("is not there") == 0, qPrintable(log_->text()));
    QCOMPARE(log_->count("cannot be used"), 0);
}

void GenicamRefusalsTest::fallsSilentOverIt_data() {
    QTest::addColumn<QByteArray>("what");
    for (const char* what : {"stop", "binning", "start", "gain", "trigger", "user-set"})
        QTest::newRow(what) << QByteArray(what);
}

/// It has gone then, and everything is as before when it is back.
void GenicamRefusalsTest::fallsSilentOverIt() {
    QFETCH(QByteArray, what);
    QCOMPARE(statusOf(CameraSetGain, 32), 0);
    setTrouble(what + '!');
    const auto call = [&] {
        if (what == "gain")
            return CameraSetGain(0, 64);
        if (what == "trigger")
            return CameraSetSnapMode(0, kSnapTriggered);
        if (what == "user-set")
            return CameraLoadParameter(0, 2);
        return setMode(kHalf);
    };
    const Clock::time_point begin = Clock::now();
    // A call that waited for a camera that is silent would get to know that it has gone.
    QCOMPARE(call(), kNoAnswer);
    const auto isToldWithin = [&](int milliseconds) {
        return becomes(
            [&] {
                query(0);
                return log_->count({"FAKE0001", "has gone"}) > 0;
            },
            milliseconds);
    };
    bool isTold = isToldWithin(kBack / 2);
    // A keeper that did not get to run in time has left it.
    if (!isTold) {
        call();
        isTold = isToldWithin(kBack);
    }
    QTest::qWait(std::max(1, kGivesUp - since(begin)));
    setTrouble("");
    QVERIFY2(isTold, qPrintable(log_->text()));
    if (what == "gain")
        QCOMPARE(valueOf(CameraGetGain, 64), 64);
    QCOMPARE(statusOf(CameraSetSnapMode, kSnapContinuous), 0);
    QVERIFY2(deliversWithin(0, kBack), qPrintable(log_->text()));
    QCOMPARE(statusOfMode(kHalf), 0);
    QCOMPARE(frameSize(), kHalfSize);
}

CAMERA_TEST_MAIN(GenicamRefusalsTest)
#include "tst_genicamrefusals.moc"
