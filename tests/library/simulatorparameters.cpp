// SPDX-License-Identifier: Apache-2.0
// SimulatorCases: what the parameters do to the pictures, and the slots that keep them.

#include "simulatorcases.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <functional>
#include <limits>

#include "cameraframes.h"

void SimulatorCases::outOfRangeIsBroughtIntoRange_data() {
    constexpr int32_t kLow = std::numeric_limits<int32_t>::min();
    constexpr int32_t kHigh = std::numeric_limits<int32_t>::max();
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("expected");
    const auto row = [](const char* name, double value, double expected) {
        QTest::addRow("%s %g", name, value) << name << value << expected;
    };
    row("Gamma", -1, 0.1);
    row("Gamma", 1e300, 10);
    row("Gamma", std::numeric_limits<double>::infinity(), 10);
    row("Contrast", -0.5, 0);
    row("Saturation", 11, 10);
    row("BlackLevel", kLow, 0);
    row("BlackLevel", 256, 255);
    row("AdvancedGain", 4, 3);
    row("Gain", -1, 0);
    row("Gain", 5000, 255);
    row("Exposure", 0, 1);
    row("Exposure", kHigh, 80000);
    row("AETarget", 300, 255);
    row("Timeout", -1, 0);
    row("Delay", -100, 0);
}

void SimulatorCases::outOfRangeIsBroughtIntoRange() {
    QFETCH(QString, name);
    QFETCH(double, value);
    QFETCH(double, expected);
    QCOMPARE(CameraInit(0), 0);
    double real = -1;
    int32_t number = -1;
    const auto whole = [value] { return static_cast<int32_t>(value); };
    const QHash<QString, std::function<int32_t()>> set{
        {"Gamma", [=] { return CameraSetGamma(0, value); }},
        {"Contrast", [=] { return CameraSetContrast(0, value); }},
        {"Saturation", [=] { return CameraSetSaturation(0, value); }},
        {"BlackLevel", [=] { return CameraSetBlackLevel(0, whole()); }},
        {"AdvancedGain", [=] { return CameraSetAdvancedGain(0, whole()); }},
        {"Gain", [=] { return CameraSetGain(0, whole()); }},
        {"Exposure", [=] { return CameraSetExposure(0, whole()); }},
        {"AETarget", [=] { return CameraSetAETarget(0, whole()); }},
        {"Timeout", [=] { return CameraSetTimeout(0, whole()); }},
        {"Delay", [=] { return CameraSetDelay(0, whole()); }},
    };
    const QHash<QString, std::function<int32_t()>> get{
        {"Gamma", [&] { return CameraGetGamma(0, &real); }},
        {"Contrast", [&] { return CameraGetContrast(0, &real); }},
        {"Saturation", [&] { return CameraGetSaturation(0, &real); }},
        {"BlackLevel", [&] { return CameraGetBlackLevel(0, &number); }},
        {"AdvancedGain", [&] { return CameraGetAdvancedGain(0, &number); }},
        {"Gain", [&] { return CameraGetGain(0, &number); }},
        {"Exposure", [&] { return CameraGetExposure(0, &number); }},
        {"AETarget", [&] { return CameraGetAETarget(0, &number); }},
        {"Timeout", [&] { return CameraGetTimeout(0, &number); }},
        {"Delay", [&] { return CameraGetDelay(0, &number); }},
    };
    QCOMPARE(set[name](), 0);
    QCOMPARE(get[name](), 0);
    QCOMPARE(std::max(real, static_cast<double>(number)), expected);
}

void SimulatorCases::choicesAreRefused() {
    QCOMPARE(CameraInit(0), 0);
    for (const int32_t mode : {-1, 3})
        QVERIFY(CameraSetAntiFlicker(0, mode) != 0);
    for (const int32_t mode : {0, 3})
        QVERIFY(CameraSetSnapMode(0, mode) != 0);
    for (const int32_t slot : {-1, 4}) {
        QVERIFY(CameraLoadParameter(0, slot) != 0);
        QVERIFY(CameraSaveParameter(0, slot) != 0);
    }
    int32_t width = 7;
    int32_t height = 7;
    for (const int32_t mode : {-1, 2}) {
        QVERIFY(CameraGetResolution(0, mode, &width, &height) != 0);
        QVERIFY(CameraSetResolution(0, mode, 160, 120) != 0);
    }
    QVERIFY(CameraSetResolution(0, 1, 161, 120) != 0);
    QCOMPARE(sizeOf(0), QSize(320, 180));
    int32_t length = 0;
    for (const int32_t format : {0, 1, 3, 5, -1})
        QVERIFY(CameraGetImageBufferSize(0, &length, format) != 0);
    int32_t value = -1;
    QCOMPARE(CameraGetAntiFlicker(0, &value), 0);
    QCOMPARE(value, 0);
    QCOMPARE(CameraGetSnapMode(0, &value), 0);
    QCOMPARE(value, kSnapContinuous);
}

void SimulatorCases::notANumberChangesNothing() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat before = frameOf(0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QVERIFY(CameraSetGamma(0, nan) != 0);
    QVERIFY(CameraSetContrast(0, nan) != 0);
    QVERIFY(CameraSetSaturation(0, nan) != 0);
    QCOMPARE(differenceOf(frameOf(0), before), 0.0);
}

void SimulatorCases::lightMakesBrighter_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVector<int>>("values");
    QTest::newRow("exposure") << "exposure" << QVector<int>{100, 300, 1000, 3000, 10000};
    QTest::newRow("gain") << "gain" << QVector<int>{2, 16, 40, 120};
    QTest::newRow("advanced gain") << "advanced" << QVector<int>{0, 1, 2, 3};
}

void SimulatorCases::lightMakesBrighter() {
    QFETCH(QString, name);
    QFETCH(QVector<int>, values);
    QCOMPARE(CameraInit(0), 0);
    if (name != "exposure")
        QCOMPARE(CameraSetExposure(0, 200), 0);
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    double before = -1;
    for (const int value : values) {
        QCOMPARE(name == "exposure" ? CameraSetExposure(0, value)
                 : name == "gain"   ? CameraSetGain(0, value)
                                    : CameraSetAdvancedGain(0, value),
                 0);
        const double mean = meanOf(frameOf(0));
        QVERIFY2(mean > before + 2, qPrintable(QString("%1: %2 after %3").arg(value).arg(mean).arg(before)));
        before = mean;
    }
}

void SimulatorCases::gammaLiftsTheMiddle() {
    QCOMPARE(CameraInit(0), 0);
    const double neutral = meanOf(frameOf(0));
    QCOMPARE(CameraSetGamma(0, 2), 0);
    QVERIFY(meanOf(frameOf(0)) > neutral + 5);
    QCOMPARE(CameraSetGamma(0, 0.5), 0);
    QVERIFY(meanOf(frameOf(0)) < neutral - 20);
}

void SimulatorCases::contrastSpreads() {
    QCOMPARE(CameraInit(0), 0);
    const double neutral = spreadOf(frameOf(0));
    QCOMPARE(CameraSetContrast(0, 0.5), 0);
    const double half = spreadOf(frameOf(0));
    QVERIFY2(std::abs(half - neutral / 2) < 1, qPrintable(QString::number(half)));
    QCOMPARE(CameraSetContrast(0, 0), 0);
    const cv::Mat flat = frameOf(0);
    QCOMPARE(spreadOf(flat), 0.0);
    QVERIFY(std::abs(meanOf(flat) - 127.5) <= 1);
}

void SimulatorCases::blackLevelLiftsTheBlack() {
    QCOMPARE(CameraInit(0), 0);
    const double low = smallestOf(frameOf(0));
    QCOMPARE(CameraSetBlackLevel(0, 50), 0);
    QVERIFY(std::abs(smallestOf(frameOf(0)) - low - 50) <= 1);
    QCOMPARE(CameraSetBlackLevel(0, 255), 0);
    QCOMPARE(smallestOf(frameOf(0)), 255.0);
}

void SimulatorCases::saturationTakesTheColour() {
    QCOMPARE(CameraInit(0), 0);
    const auto colourOf = [](const cv::Mat& frame) {
        cv::Mat channels[3];
        cv::split(frame, channels);
        return differenceOf(channels[0], channels[2]);
    };
    const double neutral = colourOf(frameOf(0, kFormatRgb24));
    QVERIFY(neutral > 2);
    QCOMPARE(CameraSetSaturation(0, 2), 0);
    QVERIFY(colourOf(frameOf(0, kFormatRgb24)) > neutral * 1.3);
    QCOMPARE(CameraSetSaturation(0, 0), 0);
    QVERIFY(colourOf(frameOf(0, kFormatRgb24)) < 0.6);
}

void SimulatorCases::mirrorsExchangeSides() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat plain = frameOf(0);
    cv::Mat expected;
    QCOMPARE(CameraSetMirrorX(0, true), 0);
    cv::flip(plain, expected, 1);
    QVERIFY(differenceOf(plain, expected) > 10);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
    QCOMPARE(CameraSetMirrorY(0, true), 0);
    cv::flip(plain, expected, -1);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
    QCOMPARE(CameraSetMirrorX(0, false), 0);
    cv::flip(plain, expected, 0);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
}

void SimulatorCases::automaticsSettle_data() {
    QTest::addColumn<bool>("exposure");
    QTest::addColumn<bool>("gain");
    QTest::addColumn<int>("target");
    QTest::newRow("exposure, dark") << true << false << 60;
    QTest::newRow("exposure, bright") << true << false << 200;
    QTest::newRow("gain, bright") << false << true << 200;
    QTest::newRow("both") << true << true << 150;
}

void SimulatorCases::automaticsSettle() {
    QFETCH(bool, exposure);
    QFETCH(bool, gain);
    QFETCH(int, target);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    QCOMPARE(CameraSetAETarget(0, target), 0);
    QCOMPARE(CameraSetExposure(0, 300), 0);
    QCOMPARE(CameraSetAEC(0, exposure), 0);
    QCOMPARE(CameraSetAGC(0, gain), 0);
    const double first = meanOf(frameOf(0));
    QVERIFY(std::abs(first - target) > 5);
    double second = 0;
    double last = 0;
    for (int frame = 0; frame < 30; ++frame) {
        last = meanOf(frameOf(0));
        if (frame == 0)
            second = last;
    }
    QVERIFY2(std::abs(last - target) < 5, qPrintable(QString::number(last)));
    // Towards it, and not in one leap.
    QVERIFY(std::abs(second - target) < std::abs(first - target));
    QVERIFY(std::abs(second - target) > 1);
    int32_t value = 0;
    QCOMPARE(CameraGetExposure(0, &value), 0);
    QCOMPARE(value != 300, exposure);
}

void SimulatorCases::antiFlickerCalmsTheLight() {
    QCOMPARE(CameraInit(0), 0);
    const auto swing = [] {
        double low = 255;
        double high = 0;
        for (int i = 0; i < 12; ++i) {
            const double mean = meanOf(frameOf(0));
            low = std::min(low, mean);
            high = std::max(high, mean);
        }
        return high - low;
    };
    QCOMPARE(swing(), 0.0);  // the neutral exposure is as long as a pulse of the light
    QCOMPARE(CameraSetExposure(0, 400), 0);
    const double off = swing();
    QVERIFY2(off > 5, qPrintable(QString::number(off)));
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    QCOMPARE(swing(), 0.0);
    QCOMPARE(CameraSetAntiFlicker(0, 2), 0);  // for the other mains: better than nothing
    const double other = swing();
    QVERIFY2(other > 0 && other < off / 2, qPrintable(QString::number(other)));
}

void SimulatorCases::resolutionCountsFromTheNextFrame() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
    QCOMPARE(CameraSetResolution(0, 1, 160, 120), 0);
    QCOMPARE(sizeOf(0), QSize(160, 120));
    const cv::Mat small = frameOf(0);
    QCOMPARE(small.size(), cv::Size(160, 120));
    QVERIFY(spreadOf(small) > 20);
    QCOMPARE(CameraSetResolution(0, 0, 320, 180), 0);
    QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
}

void SimulatorCases::slotsKeepParameters() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    double gamma = 0;
    // Nothing stored yet: the factory's values.
    QCOMPARE(CameraSetGamma(0, 2.5), 0);
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.0);

    QCOMPARE(CameraSetGamma(0, 1.75), 0);
    QCOMPARE(CameraSetExposure(0, 777), 0);
    QCOMPARE(CameraSetMirrorY(0, true), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QCOMPARE(CameraSetResolution(0, 1, 32, 24), 0);
    QCOMPARE(CameraSaveParameter(0, 0), 0);
    QCOMPARE(CameraSetGamma(0, 2), 0);
    QCOMPARE(CameraSaveParameter(0, 1), 0);
    QCOMPARE(CameraFree(0), 0);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.0);

    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t exposure = 0;
    int32_t snapMode = 0;
    bool mirror = false;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(CameraGetExposure(0, &exposure), 0);
    QCOMPARE(CameraGetMirrorY(0, &mirror), 0);
    QCOMPARE(CameraGetSnapMode(0, &snapMode), 0);
    QCOMPARE(gamma, 1.75);
    QCOMPARE(exposure, 777);
    QVERIFY(mirror);
    QCOMPARE(snapMode, kSnapTriggered);
    QCOMPARE(sizeOf(0), QSize(32, 24));
    QCOMPARE(CameraLoadParameter(0, 1), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 2.0);

    // Each camera has a memory of its own.
    QCOMPARE(CameraLoadParameter(1, 0), 0);
    QCOMPARE(CameraGetGamma(1, &gamma), 0);
    QCOMPARE(gamma, 1.0);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{"kvcap2-slots.json"});
}

void SimulatorCases::slotsKeepEveryParameter() {
    QCOMPARE(CameraInit(0), 0);
    const auto change = [](auto get, auto set, auto value) {
        auto before = value;
        QCOMPARE(get(0, &before), 0);
        QVERIFY2(before != value, "not the factory's");
        QCOMPARE(set(0, value), 0);
    };
    const auto isKept = [](auto get, auto value) {
        auto now = decltype(value)();
        return get(0, &now) == 0 && now == value;
    };
    change(CameraGetContrast, CameraSetContrast, 1.25);
    change(CameraGetSaturation, CameraSetSaturation, 0.5);
    change(CameraGetBlackLevel, CameraSetBlackLevel, int32_t{9});
    change(CameraGetAdvancedGain, CameraSetAdvancedGain, int32_t{2});
    change(CameraGetGain, CameraSetGain, int32_t{40});
    change(CameraGetAGC, CameraSetAGC, true);
    change(CameraGetAEC, CameraSetAEC, true);
    change(CameraGetAETarget, CameraSetAETarget, int32_t{77});
    change(CameraGetTimeout, CameraSetTimeout, int32_t{800});
    change(CameraGetAntiFlicker, CameraSetAntiFlicker, int32_t{2});
    change(CameraGetMirrorX, CameraSetMirrorX, true);
    change(CameraGetHighspeed, CameraSetHighspeed, true);
    change(CameraGetDelay, CameraSetDelay, int32_t{300});
    QCOMPARE(CameraSaveParameter(0, 0), 0);
    QCOMPARE(CameraFree(0), 0);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    QVERIFY(isKept(CameraGetContrast, 1.25));
    QVERIFY(isKept(CameraGetSaturation, 0.5));
    QVERIFY(isKept(CameraGetBlackLevel, int32_t{9}));
    QVERIFY(isKept(CameraGetAdvancedGain, int32_t{2}));
    QVERIFY(isKept(CameraGetAGC, true));
    QVERIFY(isKept(CameraGetAEC, true));
    QVERIFY(isKept(CameraGetAETarget, int32_t{77}));
    QVERIFY(isKept(CameraGetTimeout, int32_t{800}));
    QVERIFY(isKept(CameraGetAntiFlicker, int32_t{2}));
    QVERIFY(isKept(CameraGetMirrorX, true));
    QVERIFY(isKept(CameraGetHighspeed, true));
    QVERIFY(isKept(CameraGetDelay, int32_t{300}));
}

void SimulatorCases::tornSlotFileIsReported() {
    QCOMPARE(CameraInit(0), 0);
    QFile file(QStringLiteral("kvcap2-slots.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{ \"KV2500000001\": { \"0\": { \"gamma\": 2");
    file.close();
    QCOMPARE(CameraSetGamma(0, 1.5), 0);
    QVERIFY(CameraLoadParameter(0, 0) != 0);
    double gamma = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.5);

    // Whole, but none of ours.
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[1, 2]");
    file.close();
    QVERIFY(CameraLoadParameter(0, 0) != 0);

    // Values that make no sense are taken one by one for the factory's.
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"KV2500000001": {"0": {"gamma": 500, "gain": "loud", "mode": 99, "snapMode": 8, "exposure": 60}}})");
    file.close();
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t value = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 10.0);
    QCOMPARE(CameraGetGain(0, &value), 0);
    QCOMPARE(value, 16);
    QCOMPARE(CameraGetSnapMode(0, &value), 0);
    QCOMPARE(value, kSnapContinuous);
    QCOMPARE(CameraGetExposure(0, &value), 0);
    QCOMPARE(value, 60);
    QCOMPARE(sizeOf(0), QSize(320, 180));
}

void SimulatorCases::unwritableSlotIsReported() {
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(QDir().mkdir(QStringLiteral("gone")));
    QVERIFY(QDir::setCurrent(QStringLiteral("gone")));
    if (!QDir().rmdir(QDir::currentPath()))
        QSKIP("the system does not let the working directory go");
    QVERIFY(CameraSaveParameter(0, 0) != 0);
    double gamma = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
}
