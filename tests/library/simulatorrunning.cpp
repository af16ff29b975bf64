// SPDX-License-Identifier: Apache-2.0
// SimulatorCases: pacing, faults, and calls that no careful program makes.

#include "simulatorcases.h"

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "cameraframes.h"

namespace {

constexpr int kSlack = 10000;  // ms that a busy machine may be late

/// Every operation on one camera with good arguments.
struct Operation {
    const char* name;
    std::function<int32_t(int32_t)> call;
};

std::vector<Operation> operations() {
    static int32_t number = 0;
    static int32_t other = 0;
    static double real = 0;
    static bool flag = false;
    static uint8_t frame[320 * 180 * 3];
    static char serial[kSerialNumberLength];
    return {
        {"CameraReadSerialNumber",
         [](int32_t i) { return CameraReadSerialNumber(i, serial, sizeof serial); }},
        {"CameraGetImageSize", [](int32_t i) { return CameraGetImageSize(i, &number, &other); }},
        {"CameraGetImageBufferSize",
         [](int32_t i) { return CameraGetImageBufferSize(i, &number, kFormatMono8); }},
        {"CameraQueryImage",
         [](int32_t i) {
             number = sizeof frame;
             return CameraQueryImage(i, frame, &number, kFormatMono8);
         }},
        {"CameraTriggerShot", [](int32_t i) { return CameraTriggerShot(i); }},
        {"CameraGetGamma", [](int32_t i) { return CameraGetGamma(i, &real); }},
        {"CameraSetGamma", [](int32_t i) { return CameraSetGamma(i, 1); }},
        {"CameraGetContrast", [](int32_t i) { return CameraGetContrast(i, &real); }},
        {"CameraSetContrast", [](int32_t i) { return CameraSetContrast(i, 1); }},
        {"CameraGetSaturation", [](int32_t i) { return CameraGetSaturation(i, &real); }},
        {"CameraSetSaturation", [](int32_t i) { return CameraSetSaturation(i, 1); }},
        {"CameraGetBlackLevel", [](int32_t i) { return CameraGetBlackLevel(i, &number); }},
        {"CameraSetBlackLevel", [](int32_t i) { return CameraSetBlackLevel(i, 0); }},
        {"CameraGetAdvancedGain", [](int32_t i) { return CameraGetAdvancedGain(i, &number); }},
        {"CameraSetAdvancedGain", [](int32_t i) { return CameraSetAdvancedGain(i, 0); }},
        {"CameraGetGain", [](int32_t i) { return CameraGetGain(i, &number); }},
        {"CameraSetGain", [](int32_t i) { return CameraSetGain(i, 16); }},
        {"CameraGetAGC", [](int32_t i) { return CameraGetAGC(i, &flag); }},
        {"CameraSetAGC", [](int32_t i) { return CameraSetAGC(i, false); }},
        {"CameraGetAEC", [](int32_t i) { return CameraGetAEC(i, &flag); }},
        {"CameraSetAEC", [](int32_t i) { return CameraSetAEC(i, false); }},
        {"CameraGetExposure", [](int32_t i) { return CameraGetExposure(i, &number); }},
        {"CameraSetExposure", [](int32_t i) { return CameraSetExposure(i, 1000); }},
        {"CameraGetAETarget", [](int32_t i) { return CameraGetAETarget(i, &number); }},
        {"CameraSetAETarget", [](int32_t i) { return CameraSetAETarget(i, 100); }},
        {"CameraGetTimeout", [](int32_t i) { return CameraGetTimeout(i, &number); }},
        {"CameraSetTimeout", [](int32_t i) { return CameraSetTimeout(i, 1000); }},
        {"CameraGetAntiFlicker", [](int32_t i) { return CameraGetAntiFlicker(i, &number); }},
        {"CameraSetAntiFlicker", [](int32_t i) { return CameraSetAntiFlicker(i, 0); }},
        {"CameraGetMirrorX", [](int32_t i) { return CameraGetMirrorX(i, &flag); }},
        {"CameraSetMirrorX", [](int32_t i) { return CameraSetMirrorX(i, false); }},
        {"CameraGetMirrorY", [](int32_t i) { return CameraGetMirrorY(i, &flag); }},
        {"CameraSetMirrorY", [](int32_t i) { return CameraSetMirrorY(i, false); }},
        {"CameraGetHighspeed", [](int32_t i) { return CameraGetHighspeed(i, &flag); }},
        {"CameraSetHighspeed", [](int32_t i) { return CameraSetHighspeed(i, false); }},
        {"CameraGetDelay", [](int32_t i) { return CameraGetDelay(i, &number); }},
        {"CameraSetDelay", [](int32_t i) { return CameraSetDelay(i, 0); }},
        {"CameraGetSnapMode", [](int32_t i) { return CameraGetSnapMode(i, &number); }},
        {"CameraSetSnapMode", [](int32_t i) { return CameraSetSnapMode(i, kSnapContinuous); }},
        {"CameraGetResolutionCount", [](int32_t i) { return CameraGetResolutionCount(i, &number); }},
        {"CameraGetResolution", [](int32_t i) { return CameraGetResolution(i, 0, &number, &other); }},
        {"CameraSetResolution", [](int32_t i) { return CameraSetResolution(i, 0, 320, 180); }},
        {"CameraLoadParameter", [](int32_t i) { return CameraLoadParameter(i, 0); }},
        {"CameraSaveParameter", [](int32_t i) { return CameraSaveParameter(i, 0); }},
    };
}

/// Milliseconds that so many frames take.
qint64 timeFor(int frames, int32_t camera = 0) {
    QElapsedTimer timer;
    frameOf(camera);  // makes the pictures ready
    timer.start();
    for (int i = 0; i < frames; ++i) {
        if (frameOf(camera).empty())
            return -1;
    }
    return timer.elapsed();
}

}  // namespace

// -----------------------------------------------------------------------------------------------------------
// Pacing

// Upper bounds are loose, since a busy machine may be late; a camera that is too fast is wrong anywhere.

void SimulatorCases::keepsTheRate() {
    QCOMPARE(CameraInit(0), 0);
    const qint64 elapsed = timeFor(25);  // 500 ms
    QVERIFY2(elapsed >= 460 && elapsed < 500 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::phaseDelaysTheBeat() {
    QCOMPARE(cameraCount(), 2);  // the library's own start takes a while
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    // Not the first frames: their scene has to be drawn.
    QVERIFY(!frameOf(0).empty());
    QVERIFY(!frameOf(1).empty());
    QVERIFY(!frameOf(0).empty());
    const qint64 inTime = timer.elapsed();  // 2 * 500 ms
    QVERIFY(!frameOf(1).empty());
    const qint64 delayed = timer.elapsed();  // 250 ms later
    QVERIFY2(inTime >= 999 && inTime < 1000 + kSlack, qPrintable(QString::number(inTime)));
    QVERIFY2(delayed >= 1249 && delayed < 1250 + kSlack, qPrintable(QString::number(delayed)));
}

void SimulatorCases::jitterMakesFramesLate() {
    QCOMPARE(cameraCount(), 1);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(!frameOf(0).empty());
    std::vector<qint64> late;
    for (int frame = 0; frame < 12; ++frame) {
        QVERIFY(!frameOf(0).empty());
        late.push_back(timer.elapsed() % 100);
    }
    std::sort(late.begin(), late.end());
    // Most of them, whatever the machine does: between the beat and 60 ms after it, and not all alike.
    QVERIFY2(late[2] < 30, qPrintable(QString::number(late[2])));
    QVERIFY2(late[9] - late[2] > 15, qPrintable(QString::number(late[9] - late[2])));
}

void SimulatorCases::highspeedDoublesTheRate() {
    QCOMPARE(CameraInit(0), 0);
    const qint64 slow = timeFor(7);  // 700 ms
    QCOMPARE(CameraSetHighspeed(0, true), 0);
    const qint64 fast = timeFor(14);  // the same
    QVERIFY2(slow >= 500 && slow < 700 + kSlack, qPrintable(QString::number(slow)));
    QVERIFY2(fast >= 600 && fast < 700 + kSlack, qPrintable(QString::number(fast)));
    // At the plain rate it would have been twice as long; told only if the machine was in time before.
    if (slow < 800)
        QVERIFY2(fast < 1300, qPrintable(QString::number(fast)));
}

void SimulatorCases::delayAddsUp() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetDelay(0, 100), 0);
    const qint64 elapsed = timeFor(5);  // 5 * (20 + 100) ms
    QVERIFY2(elapsed >= 360 && elapsed < 600 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::longExposureSlowsDown() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetExposure(0, 15000), 0);  // 150 ms
    const qint64 elapsed = timeFor(5);
    QVERIFY2(elapsed >= 450 && elapsed < 750 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::shotsAreRemembered() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QCOMPARE(CameraTriggerShot(0), 0);
    QCOMPARE(CameraTriggerShot(0), 0);
    QVERIFY(!frameOf(0).empty());
    QVERIFY(!frameOf(0).empty());
    QCOMPARE(CameraSetTimeout(0, 200), 0);
    QVERIFY(frameOf(0).empty());
    // A shot that nobody fetched is gone with the mode.
    QCOMPARE(CameraTriggerShot(0), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapContinuous), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QVERIFY(frameOf(0).empty());
}

void SimulatorCases::shotInContinuousModeIsRefused() {
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(CameraTriggerShot(0) != 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::timeoutCanChangeWhileWaiting() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetTimeout(0, 600000), 0);
    std::atomic<bool> isAsking{false};
    std::thread asking([&isAsking] {
        isAsking = true;
        frameOf(0);
    });
    while (!isAsking)
        std::this_thread::yield();
    QCOMPARE(CameraSetTimeout(0, 50), 0);
    asking.join();  // else the case runs into its limit
}

// -----------------------------------------------------------------------------------------------------------
// Faults

void SimulatorCases::initFails() {
    QCOMPARE(cameraCount(), 3);
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(CameraInit(1) != 0);
    QCOMPARE(CameraInit(2), 0);
    QVERIFY(frameOf(1).empty());
    QVERIFY(CameraSetGain(1, 16) != 0);
    QVERIFY(!frameOf(0).empty());
    QVERIFY(!frameOf(2).empty());
}

void SimulatorCases::noFrames() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    QCOMPARE(CameraSetTimeout(0, 300), 0);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(frameOf(0).empty());
    QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 300 + kSlack);
    QVERIFY(!frameOf(1).empty());
}

void SimulatorCases::everyThirdQueryFails() {
    QCOMPARE(CameraInit(0), 0);
    QByteArray pattern;
    for (int i = 0; i < 9; ++i)
        pattern += frameOf(0).empty() ? '-' : '+';
    QCOMPARE(pattern, QByteArray("++-++-++-"));
}

void SimulatorCases::cableComesBack() {
    QCOMPARE(CameraInit(0), 0);
    for (int i = 0; i < 5; ++i)
        QVERIFY(!frameOf(0).empty());
    QElapsedTimer timer;
    timer.start();
    // Out: parameters fail at once, a query runs into its time-out.
    QVERIFY(CameraSetGain(0, 20) != 0);
    int32_t length = 64 * 48;
    QByteArray buffer(length, 0);
    auto* bytes = reinterpret_cast<uint8_t*>(buffer.data());
    // (The default time-out is longer than the cable is out: the query gets the first frame after it.)
    QCOMPARE(CameraQueryImage(0, bytes, &length, kFormatMono8), 0);
    QVERIFY2(timer.elapsed() >= 500 && timer.elapsed() < 600 + kSlack,
             qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(CameraSetGain(0, 20), 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::sizeChangesByItself() {
    QCOMPARE(CameraInit(0), 0);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
    QCOMPARE(sizeOf(0), QSize(160, 120));
    QCOMPARE(frameOf(0).size(), cv::Size(160, 120));
    // A caller who missed the change gets fewer bytes than there is room for.
    int32_t length = 320 * 180;
    QByteArray buffer(length, 'x');
    QCOMPARE(CameraQueryImage(0, reinterpret_cast<uint8_t*>(buffer.data()), &length, kFormatMono8), 0);
    QCOMPARE(length, 160 * 120);
    QCOMPARE(buffer.mid(length), QByteArray(buffer.size() - length, 'x'));
}

void SimulatorCases::queriesAreSlow() {
    QCOMPARE(CameraInit(0), 0);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!frameOf(0).empty());
    QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 300 + kSlack);
}

void SimulatorCases::serialIsGarbage() {
    QCOMPARE(CameraInit(0), 0);
    const QByteArray serial = serialOf(0);
    QCOMPARE(serial.size(), kSerialNumberLength);  // no terminating zero
    QVERIFY(std::any_of(serial.begin(), serial.end(), [](char c) { return static_cast<uchar>(c) > 127; }));
    // Also such a camera has a memory.
    QCOMPARE(CameraSetGain(0, 33), 0);
    QCOMPARE(CameraSaveParameter(0, 0), 0);
    QCOMPARE(CameraSetGain(0, 44), 0);
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(0, &gain), 0);
    QCOMPARE(gain, 33);
}

// -------------------------------------------------------------------------------------------------------
// Robustness

void SimulatorCases::wrongIndexIsRefused() {
    QCOMPARE(CameraInit(0), 0);
    for (const int32_t index :
         {-1, 1, 8, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        QVERIFY(CameraInit(index) != 0);
        for (const Operation& operation : operations())
            QVERIFY2(operation.call(index) != 0, operation.name);
        QVERIFY(CameraFree(index) != 0);
    }
}

void SimulatorCases::closedCameraIsRefused() {
    for (const Operation& operation : operations())
        QVERIFY2(operation.call(0) != 0, operation.name);
    QVERIFY(CameraFree(0) != 0);
    QCOMPARE(CameraInit(0), 0);
    for (const Operation& operation : operations()) {
        // A shot needs trigger mode.
        if (qstrcmp(operation.name, "CameraTriggerShot") != 0)
            QVERIFY2(operation.call(0) == 0, operation.name);
    }
    // Opening an open camera is no mistake and changes nothing.
    QCOMPARE(CameraSetGain(0, 77), 0);
    QCOMPARE(CameraInit(0), 0);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(0, &gain), 0);
    QCOMPARE(gain, 77);
    QCOMPARE(CameraFree(0), 0);
    for (const Operation& operation : operations())
        QVERIFY2(operation.call(0) != 0, operation.name);
    QVERIFY(CameraFree(0) != 0);
}

void SimulatorCases::nullIsRefused() {
    QVERIFY(CameraGetCount(nullptr) != 0);
    QCOMPARE(CameraInit(0), 0);
    int32_t number = 320 * 180;
    uint8_t byte = 0;
    QVERIFY(CameraReadSerialNumber(0, nullptr, kSerialNumberLength) != 0);
    QVERIFY(CameraReadSerialNumber(0, reinterpret_cast<char*>(&byte), 0) != 0);
    QVERIFY(CameraReadSerialNumber(0, reinterpret_cast<char*>(&byte), -5) != 0);
    QVERIFY(CameraGetImageSize(0, nullptr, &number) != 0);
    QVERIFY(CameraGetImageSize(0, &number, nullptr) != 0);
    QVERIFY(CameraGetImageBufferSize(0, nullptr, kFormatMono8) != 0);
    QVERIFY(CameraQueryImage(0, nullptr, &number, kFormatMono8) != 0);
    QVERIFY(CameraQueryImage(0, &byte, nullptr, kFormatMono8) != 0);
    for (auto* get : {CameraGetGamma, CameraGetContrast, CameraGetSaturation})
        QVERIFY(get(0, nullptr) != 0);
    for (auto* get : {CameraGetBlackLevel, CameraGetAdvancedGain, CameraGetGain, CameraGetExposure,
                      CameraGetAETarget, CameraGetTimeout, CameraGetAntiFlicker, CameraGetDelay,
                      CameraGetSnapMode, CameraGetResolutionCount})
        QVERIFY(get(0, nullptr) != 0);
    for (auto* get : {CameraGetAGC, CameraGetAEC, CameraGetMirrorX, CameraGetMirrorY, CameraGetHighspeed})
        QVERIFY(get(0, nullptr) != 0);
    QVERIFY(CameraGetResolution(0, 0, nullptr, &number) != 0);
    QVERIFY(CameraGetResolution(0, 0, &number, nullptr) != 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::shortBufferIsLeftAlone() {
    QCOMPARE(CameraInit(0), 0);
    QByteArray buffer(320 * 180, 'x');
    for (int32_t length : {320 * 180 - 1, 0, -1}) {
        const int32_t given = length;
        QVERIFY(CameraQueryImage(0, reinterpret_cast<uint8_t*>(buffer.data()), &length, kFormatMono8) != 0);
        QCOMPARE(length, given);
        QCOMPARE(buffer, QByteArray(buffer.size(), 'x'));
    }
}

void SimulatorCases::freeEndsAQuery() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetTimeout(0, 600000), 0);
    std::atomic<bool> isAsking{false};
    std::atomic<bool> gotFrame{false};
    std::thread asking([&] {
        isAsking = true;
        gotFrame = !frameOf(0).empty();
    });
    while (!isAsking)
        std::this_thread::yield();
    QCOMPARE(CameraFree(0), 0);
    asking.join();  // else the case runs into its limit
    QVERIFY(!gotFrame);
}

/// Two cameras that are read, changed, triggered, closed and opened all at once. For the sanitizers; here it
/// only has to end, and the cameras have to work afterwards.
void SimulatorCases::opensAndClosesUnderFire() {
    std::atomic<bool> isDone{false};
    std::vector<std::thread> threads;
    for (const int32_t camera : {0, 1, 1}) {
        threads.emplace_back([camera, &isDone] {
            std::vector<uint8_t> buffer(size_t{320} * 180 * 3);
            for (int i = 0; !isDone; ++i) {
                auto length = static_cast<int32_t>(buffer.size());
                CameraQueryImage(camera, buffer.data(), &length, i % 3 == 0 ? kFormatRgb24 : kFormatMono8);
            }
        });
    }
    for (int round = 0; round < 60; ++round) {
        for (const int32_t camera : {0, 1}) {
            CameraInit(camera);
            CameraSetTimeout(camera, 100);
            CameraSetGamma(camera, 0.5 + round * 0.03);
            CameraSetMirrorX(camera, round % 2 == 0);
            CameraSetAEC(camera, round % 3 == 0);
            CameraSetSnapMode(camera, round % 5 == 0 ? kSnapTriggered : kSnapContinuous);
            CameraTriggerShot(camera);
            CameraSetResolution(camera, round % 2, round % 2 == 0 ? 320 : 64, round % 2 == 0 ? 180 : 48);
            CameraSaveParameter(camera, 0);
            CameraLoadParameter(camera, 0);
            if (round % 4 == 3)
                CameraFree(camera);
        }
    }
    isDone = true;
    for (std::thread& thread : threads)
        thread.join();
    for (const int32_t camera : {0, 1}) {
        CameraInit(camera);
        QCOMPARE(CameraSetSnapMode(camera, kSnapContinuous), 0);
        QCOMPARE(CameraSetTimeout(camera, 5000), 0);
        QVERIFY(!frameOf(camera).empty());
    }
}
