// SPDX-License-Identifier: Apache-2.0
// Whether a KVCap2 library keeps the contract of camera/kvcap2.h, operation by operation. Nothing here knows
// which library answers: it works with however many cameras are attached, uses only values that the program
// itself sends, and leaves every camera as it found it.

#include <QDir>
#include <QElapsedTimer>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "camera/kvcap2.h"
#include "cameraproperties.h"

namespace {

constexpr int kTimeout = 5000;  // ms, the longest that the program sets
constexpr int kSlack = 5000;    // ms that a busy machine may be late

}  // namespace

class ConformanceTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void countStaysTheSame();
    void serialNumberStaysInItsBuffer_data();
    void serialNumberStaysInItsBuffer();
    void serialNumbersTellCamerasApart();
    void bufferSizeFitsTheImageSize_data();
    void bufferSizeFitsTheImageSize();
    void queryFillsTheBuffer_data();
    void queryFillsTheBuffer();
    void framesKeepComing_data();
    void framesKeepComing();
    void camerasRunSideBySide();
    void realComesBack_data();
    void realComesBack();
    void integerComesBack_data();
    void integerComesBack();
    void flagComesBack_data();
    void flagComesBack();
    void parametersBelongToOneCamera();
    void resolutionSwitchesTheFrames_data();
    void resolutionSwitchesTheFrames();
    void queryEndsWithTheTimeout_data();
    void queryEndsWithTheTimeout();
    void shotReleasesOneFrame_data();
    void shotReleasesOneFrame();
    void shotEndsAWaitingQuery_data();
    void shotEndsAWaitingQuery();
    void continuousModeGoesOnAfterTriggerMode_data();
    void continuousModeGoesOnAfterTriggerMode();
    void parameterCallsPassAWaitingQuery_data();
    void parameterCallsPassAWaitingQuery();
    void parameterCallsAmongFrames_data();
    void parameterCallsAmongFrames();
    void slotKeepsTheParameters_data();
    void slotKeepsTheParameters();
    void cameraOpensAgain_data();
    void cameraOpensAgain();

private:
    void eachCamera();
    template <typename T>
    void eachValue(const std::vector<Property<T>>& properties);
    template <typename T>
    void checkValue(const std::vector<Property<T>>& properties);
    void steady(int32_t camera);

    QTemporaryDir folder_;
    int32_t count_ = 0;
};

void ConformanceTest::initTestCase() {
    // A library may keep files in the working directory.
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    QCOMPARE(CameraGetCount(&count_), 0);
    QVERIFY(count_ >= 0);
    if (count_ == 0)
        QSKIP("no camera is attached");
    for (int32_t camera = 0; camera < count_; ++camera) {
        QCOMPARE(CameraInit(camera), 0);
        QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
    }
}

void ConformanceTest::cleanupTestCase() {
    for (int32_t camera = 0; camera < count_; ++camera)
        QCOMPARE(CameraFree(camera), 0);
    QDir::setCurrent(QDir::rootPath());
}

void ConformanceTest::eachCamera() {
    QTest::addColumn<int>("camera");
    for (int camera = 0; camera < count_; ++camera)
        QTest::addRow("camera %d", camera) << camera;
}

/// Nothing that the camera does by itself gets in the way.
void ConformanceTest::steady(int32_t camera) {
    QCOMPARE(CameraSetAEC(camera, false), 0);
    QCOMPARE(CameraSetAGC(camera, false), 0);
    QCOMPARE(CameraSetSnapMode(camera, kSnapContinuous), 0);
    QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
}

void ConformanceTest::countStaysTheSame() {
    int32_t again = -1;
    QCOMPARE(CameraGetCount(&again), 0);
    QCOMPARE(again, count_);
}

void ConformanceTest::serialNumberStaysInItsBuffer_data() {
    QTest::addColumn<int>("camera");
    QTest::addColumn<int>("length");
    for (int camera = 0; camera < count_; ++camera) {
        for (const int length : {kSerialNumberLength, 4, 1})
            QTest::addRow("camera %d, %d bytes", camera, length) << camera << length;
    }
}

void ConformanceTest::serialNumberStaysInItsBuffer() {
    QFETCH(int, camera);
    QFETCH(int, length);
    QByteArray buffer(length + kGuard, kGuardByte);
    QCOMPARE(CameraReadSerialNumber(camera, buffer.data(), length), 0);
    QCOMPARE(buffer.mid(length), QByteArray(kGuard, kGuardByte));
    QVERIFY(buffer.at(0) != kGuardByte && buffer.at(0) != 0);
}

void ConformanceTest::serialNumbersTellCamerasApart() {
    QSet<QByteArray> serials;
    for (int32_t camera = 0; camera < count_; ++camera) {
        QByteArray serial(kSerialNumberLength, 0);
        QCOMPARE(CameraReadSerialNumber(camera, serial.data(), kSerialNumberLength), 0);
        serials.insert(serial);
    }
    QCOMPARE(serials.size(), count_);
}

void ConformanceTest::bufferSizeFitsTheImageSize_data() {
    eachCamera();
}

void ConformanceTest::bufferSizeFitsTheImageSize() {
    QFETCH(int, camera);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetImageSize(camera, &width, &height), 0);
    QVERIFY(width > 0 && height > 0);
    int32_t mono = 0;
    QCOMPARE(CameraGetImageBufferSize(camera, &mono, kFormatMono8), 0);
    QCOMPARE(mono, width * height);
    int32_t color = 0;
    QCOMPARE(CameraGetImageBufferSize(camera, &color, kFormatRgb24), 0);
    QCOMPARE(color, width * height * 3);
}

void ConformanceTest::queryFillsTheBuffer_data() {
    QTest::addColumn<int>("camera");
    QTest::addColumn<int>("format");
    for (int camera = 0; camera < count_; ++camera) {
        QTest::addRow("camera %d, mono", camera) << camera << kFormatMono8;
        QTest::addRow("camera %d, colour", camera) << camera << kFormatRgb24;
    }
}

void ConformanceTest::queryFillsTheBuffer() {
    QFETCH(int, camera);
    QFETCH(int, format);
    const Snapshot snapshot(camera);
    steady(camera);
    Buffer first(camera, format, 0x00);
    QCOMPARE(first.query(camera, format), 0);
    QCOMPARE(first.length, first.announced);
    QVERIFY(first.isGuardIntact());
    Buffer second(camera, format, '\xFF');
    QCOMPARE(second.query(camera, format), 0);
    QCOMPARE(second.length, second.announced);
    QVERIFY(second.isGuardIntact());

    // A byte that nobody wrote is still as it was before each query.
    int untouched = 0;
    for (int i = 0; i < first.announced; ++i)
        untouched += first.bytes.at(i) == 0x00 && second.bytes.at(i) == '\xFF' ? 1 : 0;
    QVERIFY2(untouched < first.announced / 100, qPrintable(QString::number(untouched)));
}

void ConformanceTest::framesKeepComing_data() {
    eachCamera();
}

void ConformanceTest::framesKeepComing() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    Buffer buffer(camera, kFormatMono8);
    for (int frame = 0; frame < 10; ++frame)
        QCOMPARE(buffer.query(camera, kFormatMono8), 0);
    QVERIFY(buffer.isGuardIntact());
}

void ConformanceTest::camerasRunSideBySide() {
    std::vector<std::unique_ptr<Snapshot>> snapshots;
    for (int32_t camera = 0; camera < count_; ++camera) {
        snapshots.push_back(std::make_unique<Snapshot>(camera));
        steady(camera);
    }
    std::atomic<int> frames{0};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(count_));
    for (int32_t camera = 0; camera < count_; ++camera) {
        threads.emplace_back([camera, &frames] {
            Buffer buffer(camera, kFormatMono8);
            for (int frame = 0; frame < 10; ++frame)
                frames += buffer.query(camera, kFormatMono8) == 0 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(frames.load(), 10 * count_);
}

template <typename T>
void ConformanceTest::eachValue(const std::vector<Property<T>>& properties) {
    QTest::addColumn<int>("camera");
    QTest::addColumn<int>("property");
    QTest::addColumn<T>("value");
    for (int camera = 0; camera < count_; ++camera) {
        for (size_t i = 0; i < properties.size(); ++i) {
            for (const T value : properties[i].values)
                QTest::addRow("camera %d, %s = %g", camera, properties[i].name, static_cast<double>(value))
                    << camera << static_cast<int>(i) << value;
        }
    }
}

template <typename T>
void ConformanceTest::checkValue(const std::vector<Property<T>>& properties) {
    QFETCH(int, camera);
    QFETCH(int, property);
    QFETCH(T, value);
    const Property<T>& one = properties[static_cast<size_t>(property)];
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(one.set(camera, value), 0);
    T result = value;
    if constexpr (std::is_same_v<T, bool>)
        result = !value;
    else
        result = static_cast<T>(value + 1);
    QCOMPARE(one.get(camera, &result), 0);
    QVERIFY2(isAlike(result, value), qPrintable(QString::number(static_cast<double>(result))));
}

void ConformanceTest::realComesBack_data() {
    eachValue(kReals);
}

void ConformanceTest::realComesBack() {
    checkValue(kReals);
}

void ConformanceTest::integerComesBack_data() {
    eachValue(kIntegers);
}

void ConformanceTest::integerComesBack() {
    checkValue(kIntegers);
}

void ConformanceTest::flagComesBack_data() {
    eachValue(kFlags);
}

void ConformanceTest::flagComesBack() {
    checkValue(kFlags);
}

void ConformanceTest::parametersBelongToOneCamera() {
    if (count_ < 2)
        QSKIP("one camera only");
    const Snapshot first(0);
    const Snapshot second(1);
    steady(0);
    steady(1);
    QCOMPARE(CameraSetBlackLevel(0, 11), 0);
    QCOMPARE(CameraSetBlackLevel(1, 22), 0);
    int32_t level = 0;
    QCOMPARE(CameraGetBlackLevel(0, &level), 0);
    QCOMPARE(level, 11);
    QCOMPARE(CameraGetBlackLevel(1, &level), 0);
    QCOMPARE(level, 22);
}

void ConformanceTest::resolutionSwitchesTheFrames_data() {
    QTest::addColumn<int>("camera");
    QTest::addColumn<int>("mode");
    for (int camera = 0; camera < count_; ++camera) {
        int32_t modes = 0;
        QCOMPARE(CameraGetResolutionCount(camera, &modes), 0);
        QVERIFY(modes >= 1);
        for (int mode = 0; mode < modes; ++mode)
            QTest::addRow("camera %d, mode %d", camera, mode) << camera << mode;
    }
}

void ConformanceTest::resolutionSwitchesTheFrames() {
    QFETCH(int, camera);
    QFETCH(int, mode);
    const Snapshot snapshot(camera);
    steady(camera);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetResolution(camera, mode, &width, &height), 0);
    QVERIFY(width > 0 && height > 0);
    QCOMPARE(CameraSetResolution(camera, mode, width, height), 0);
    int32_t nowWidth = 0;
    int32_t nowHeight = 0;
    QCOMPARE(CameraGetImageSize(camera, &nowWidth, &nowHeight), 0);
    QCOMPARE(nowWidth, width);
    QCOMPARE(nowHeight, height);
    Buffer buffer(camera, kFormatRgb24);
    QCOMPARE(buffer.announced, width * height * 3);
    QCOMPARE(buffer.query(camera, kFormatRgb24), 0);
    QCOMPARE(buffer.length, width * height * 3);
    QVERIFY(buffer.isGuardIntact());
}

void ConformanceTest::queryEndsWithTheTimeout_data() {
    eachCamera();
}

void ConformanceTest::queryEndsWithTheTimeout() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    Buffer buffer(camera, kFormatMono8);
    // A frame that was under way when the mode changed may still come.
    QCOMPARE(CameraSetTimeout(camera, 500), 0);
    buffer.query(camera, kFormatMono8);

    QElapsedTimer timer;
    timer.start();
    QVERIFY(buffer.query(camera, kFormatMono8) != 0);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 400 && elapsed < 500 + kSlack, qPrintable(QString::number(elapsed)));
    QVERIFY(buffer.isGuardIntact());
}

void ConformanceTest::shotReleasesOneFrame_data() {
    eachCamera();
}

void ConformanceTest::shotReleasesOneFrame() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    QCOMPARE(CameraSetTimeout(camera, 500), 0);
    Buffer buffer(camera, kFormatMono8);
    buffer.query(camera, kFormatMono8);

    QCOMPARE(CameraTriggerShot(camera), 0);
    QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
    QCOMPARE(buffer.query(camera, kFormatMono8), 0);
    QCOMPARE(buffer.length, buffer.announced);
    QCOMPARE(CameraSetTimeout(camera, 500), 0);
    QVERIFY(buffer.query(camera, kFormatMono8) != 0);
}

void ConformanceTest::shotEndsAWaitingQuery_data() {
    eachCamera();
}

void ConformanceTest::shotEndsAWaitingQuery() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    QCOMPARE(CameraSetTimeout(camera, 500), 0);
    Buffer buffer(camera, kFormatMono8);
    buffer.query(camera, kFormatMono8);
    QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);

    std::atomic<bool> isAsking{false};
    std::atomic<int> result{-1};
    std::thread asking([&] {
        isAsking = true;
        result = buffer.query(camera, kFormatMono8);
    });
    while (!isAsking)
        std::this_thread::yield();
    // Whether the shot comes just before or while the query waits, the query gets its frame.
    const int32_t shot = CameraTriggerShot(camera);
    asking.join();
    QCOMPARE(shot, 0);
    QCOMPARE(result.load(), 0);
}

void ConformanceTest::continuousModeGoesOnAfterTriggerMode_data() {
    eachCamera();
}

void ConformanceTest::continuousModeGoesOnAfterTriggerMode() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    QCOMPARE(CameraSetSnapMode(camera, kSnapContinuous), 0);
    Buffer buffer(camera, kFormatMono8);
    for (int frame = 0; frame < 3; ++frame)
        QCOMPARE(buffer.query(camera, kFormatMono8), 0);
}

void ConformanceTest::parameterCallsPassAWaitingQuery_data() {
    eachCamera();
}

/// While a query waits for a trigger that does not come, parameter calls are answered at once.
void ConformanceTest::parameterCallsPassAWaitingQuery() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
    std::atomic<bool> isOver{false};
    std::atomic<bool> isAsking{false};
    std::thread asking([&] {
        Buffer buffer(camera, kFormatMono8);
        isAsking = true;
        buffer.query(camera, kFormatMono8);
        isOver = true;
    });
    while (!isAsking)
        std::this_thread::yield();
    int failures = 0;
    // Long enough for the query to have begun to wait, far shorter than its time-out.
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; timer.elapsed() < 300; i = (i + 1) % 200) {
        int32_t gain = 0;
        failures += CameraSetGain(camera, 16 + i) != 0 ? 1 : 0;
        failures += CameraGetGain(camera, &gain) != 0 || gain != 16 + i ? 1 : 0;
    }
    const bool overtaken = !isOver;
    CameraTriggerShot(camera);  // so that the query need not run into its time-out
    asking.join();
    QCOMPARE(failures, 0);
    QVERIFY2(overtaken, "parameter calls waited for the query");
}

void ConformanceTest::parameterCallsAmongFrames_data() {
    eachCamera();
}

void ConformanceTest::parameterCallsAmongFrames() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    steady(camera);
    std::atomic<bool> isDone{false};
    std::atomic<int> frames{0};
    std::atomic<int> broken{0};
    std::thread asking([&] {
        while (!isDone || frames < 3) {
            Buffer buffer(camera, kFormatMono8);
            if (buffer.query(camera, kFormatMono8) == 0)
                ++frames;
            broken += buffer.isGuardIntact() ? 0 : 1;
            if (broken > 0)
                break;
        }
    });
    int failures = 0;
    const auto sweep = [&](const auto& properties) {
        for (const auto& property : properties) {
            // Timeout, delay and trigger mode would only make the test long.
            if (QLatin1String(property.name) == QLatin1String("SnapMode") ||
                QLatin1String(property.name) == QLatin1String("Delay"))
                continue;
            for (const auto value : property.values) {
                auto back = value;
                failures += property.set(camera, value) != 0 ? 1 : 0;
                failures += property.get(camera, &back) != 0 ? 1 : 0;
            }
        }
    };
    for (int round = 0; round < 30; ++round) {
        sweep(kReals);
        sweep(kIntegers);
        sweep(kFlags);
    }
    isDone = true;
    asking.join();
    QCOMPARE(failures, 0);
    QCOMPARE(broken.load(), 0);
}

void ConformanceTest::slotKeepsTheParameters_data() {
    eachCamera();
}

void ConformanceTest::slotKeepsTheParameters() {
    QFETCH(int, camera);
    const Snapshot now(camera);
    // What the camera kept before goes back into the slot at the end.
    QCOMPARE(CameraLoadParameter(camera, 0), 0);
    {
        const Snapshot kept(camera);
        steady(camera);
        QCOMPARE(CameraSetGamma(camera, 1.3), 0);
        QCOMPARE(CameraSetBlackLevel(camera, 7), 0);
        QCOMPARE(CameraSetMirrorX(camera, true), 0);
        QCOMPARE(CameraSaveParameter(camera, 0), 0);
        QCOMPARE(CameraSetGamma(camera, 2.1), 0);
        QCOMPARE(CameraSetBlackLevel(camera, 9), 0);
        QCOMPARE(CameraSetMirrorX(camera, false), 0);
        QCOMPARE(CameraLoadParameter(camera, 0), 0);

        double gamma = 0;
        int32_t level = 0;
        bool mirror = false;
        QCOMPARE(CameraGetGamma(camera, &gamma), 0);
        QCOMPARE(CameraGetBlackLevel(camera, &level), 0);
        QCOMPARE(CameraGetMirrorX(camera, &mirror), 0);
        QVERIFY(isAlike(gamma, 1.3));
        QCOMPARE(level, 7);
        QCOMPARE(mirror, true);
    }
    QCOMPARE(CameraSaveParameter(camera, 0), 0);
}

void ConformanceTest::cameraOpensAgain_data() {
    eachCamera();
}

void ConformanceTest::cameraOpensAgain() {
    QFETCH(int, camera);
    const Snapshot snapshot(camera);
    QCOMPARE(CameraFree(camera), 0);
    QCOMPARE(CameraInit(camera), 0);
    steady(camera);
    Buffer buffer(camera, kFormatMono8);
    QCOMPARE(buffer.query(camera, kFormatMono8), 0);
}

QTEST_APPLESS_MAIN(ConformanceTest)

#include "tst_conformance.moc"
