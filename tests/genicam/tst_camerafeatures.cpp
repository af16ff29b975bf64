// SPDX-License-Identifier: Apache-2.0
// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include <QtTest>

#include <cmath>
#include <limits>

#include "camerafeatures.h"
#include "featurenode.h"
#include "namedfeatures.h"
#include "playedcamera.h"

using namespace kvgen;

Q_DECLARE_METATYPE(kvgen::Parameter)

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace

/// Which feature of a camera serves, and what arrives there: with the devices that Aravis plays.
class TestCameraFeatures : public QObject {
    Q_OBJECT

private slots:
    void standardNamesServe() {
        const PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        const QVector<QPair<Parameter, QByteArray>> expected{
            {Parameter::Gamma, "Gamma"},
            {Parameter::Contrast, ""},
            {Parameter::Saturation, "Saturation"},
            {Parameter::BlackLevel, "BlackLevel"},
            {Parameter::AdvancedGain, "Gain"},
            {Parameter::Gain, "Gain"},
            {Parameter::Agc, "GainAuto"},
            {Parameter::Aec, "ExposureAuto"},
            {Parameter::Exposure, "ExposureTime"},
            {Parameter::AeTarget, "AutoTargetBrightness"},
            {Parameter::AntiFlicker, "ExposureTime"},
            {Parameter::MirrorX, "ReverseX"},
            {Parameter::MirrorY, "ReverseY"},
            {Parameter::Highspeed, "AcquisitionFrameRate"},
            {Parameter::Delay, "AcquisitionFrameRate"},
            {Parameter::SnapMode, "TriggerMode"},
        };
        QCOMPARE(expected.size(), kParameters);
        for (const auto& [parameter, feature] : expected) {
            QCOMPARE(features.featureOf(parameter), feature);
            QCOMPARE(features.has(parameter), !feature.isEmpty());
            QVERIFY(!features.isLocked(parameter));
        }
    }

    void olderNamesServe() {
        PlayedCamera camera(olderNames());
        camera.setNumber("AcquisitionFrameRateAbs", 20);
        camera.setOn("AcquisitionFrameRateEnable", true);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.featureOf(Parameter::Exposure), QByteArray("ExposureTimeAbs"));
        QCOMPARE(features.write(Parameter::Exposure, 300), Status::Ok);
        QCOMPARE(camera.number("ExposureTimeAbs"), 3000.0);
        QCOMPARE(features.write(Parameter::Gain, 100), Status::Ok);
        QCOMPARE(camera.number("GainRaw"), 100.0);
        QCOMPARE(valueOf(features, Parameter::Gain), 100.0);
        QCOMPARE(features.write(Parameter::BlackLevel, 17), Status::Ok);
        QCOMPARE(camera.number("BlackLevelRaw"), 17.0);
        QCOMPARE(features.write(Parameter::AeTarget, 100), Status::Ok);
        QCOMPARE(camera.number("AutoTargetValue"), 100.0);
        QCOMPARE(features.write(Parameter::Delay, 50), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRateAbs"), 10.0);
        for (const Parameter lacking : {Parameter::Gamma, Parameter::Saturation, Parameter::AdvancedGain,
                                        Parameter::Agc, Parameter::Aec, Parameter::MirrorX})
            QVERIFY(!features.has(lacking));
    }

    void rawExposureServes() {
        const PlayedCamera camera(Description().integer("ExposureTimeRaw", {"16", "65535", "", "8"}));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Exposure, 100), Status::Ok);
        // 1000 µs is a step of 16 + 8 n.
        QCOMPARE(camera.number("ExposureTimeRaw"), 1000.0);
        QCOMPARE(features.write(Parameter::Exposure, 99999), Status::Ok);
        // The last step within the range.
        QCOMPARE(camera.number("ExposureTimeRaw"), 65528.0);
        QCOMPARE(features.write(Parameter::Exposure, 1), Status::Ok);
        QCOMPARE(camera.number("ExposureTimeRaw"), 16.0);
        QCOMPARE(valueOf(features, Parameter::Exposure), 2.0);
    }

    void aCameraWithNothingIsLeftAlone() {
        const PlayedCamera camera{Description()};
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.baseRate(), 0.0);
        for (const Mapping& mapping : mappings()) {
            double value = 42;
            QVERIFY(!features.has(mapping.parameter));
            QVERIFY(!features.isLocked(mapping.parameter));
            QCOMPARE(features.featureOf(mapping.parameter), QByteArray());
            QCOMPARE(features.read(mapping.parameter, value), Status::Unsupported);
            QCOMPARE(features.write(mapping.parameter, 1), Status::Unsupported);
            QCOMPARE(value, 42.0);
        }
        QCOMPARE(features.shoot(), Status::Unsupported);
        QVERIFY(!features.hasUserSet(1));
        QCOMPARE(features.saveUserSet(1), Status::Unsupported);
        QCOMPARE(features.loadUserSet(1), Status::Unsupported);
    }

    void thereAndBack_data() {
        QTest::addColumn<Parameter>("parameter");
        QTest::addColumn<QVector<double>>("values");
        QTest::newRow("gamma") << Parameter::Gamma << QVector<double>{0.3, 1.0, 1.57, 3.0, 10};
        QTest::newRow("saturation") << Parameter::Saturation << QVector<double>{0, 0.5, 1, 2};
        QTest::newRow("black level") << Parameter::BlackLevel << QVector<double>{0, 17, 64};
        QTest::newRow("advanced gain") << Parameter::AdvancedGain << QVector<double>{0, 1, 2, 3};
        QTest::newRow("gain") << Parameter::Gain << QVector<double>{1, 16, 17, 100, 253};
        QTest::newRow("AGC") << Parameter::Agc << QVector<double>{1, 0};
        QTest::newRow("AEC") << Parameter::Aec << QVector<double>{1, 0};
        QTest::newRow("exposure") << Parameter::Exposure << QVector<double>{2, 8, 300, 4000, 80000};
        QTest::newRow("target") << Parameter::AeTarget << QVector<double>{51, 100, 204};
        QTest::newRow("anti-flicker") << Parameter::AntiFlicker << QVector<double>{1, 2, 0};
        QTest::newRow("mirror x") << Parameter::MirrorX << QVector<double>{1, 0};
        QTest::newRow("mirror y") << Parameter::MirrorY << QVector<double>{1, 0};
        QTest::newRow("high speed") << Parameter::Highspeed << QVector<double>{1, 0};
        QTest::newRow("delay") << Parameter::Delay << QVector<double>{0, 100, 960};
        QTest::newRow("snap mode") << Parameter::SnapMode << QVector<double>{2, 1};
    }
    void thereAndBack() {
        QFETCH(Parameter, parameter);
        QFETCH(QVector<double>, values);
        PlayedCamera camera(standardNames());
        camera.setNumber("AcquisitionFrameRate", 25);
        camera.setOn("AcquisitionFrameRateEnable", true);
        CameraFeatures features(camera.camera(), {});
        for (const double value : values) {
            QCOMPARE(features.write(parameter, value), Status::Ok);
            QVERIFY2(std::abs(valueOf(features, parameter) - value) < 1e-9, QByteArray::number(value));
        }
    }

    void beyondTheCamerasRangeIsBroughtIntoIt() {
        const PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 65535), Status::Ok);
        QCOMPARE(camera.number("Gain"), 24.0);
        QCOMPARE(features.write(Parameter::BlackLevel, kInfinity), Status::Ok);
        QCOMPARE(camera.number("BlackLevel"), 64.0);
        QCOMPARE(features.write(Parameter::AeTarget, 255), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::AeTarget), 204.0);
        QCOMPARE(features.write(Parameter::Exposure, -5), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 20.0);
        QCOMPARE(features.write(Parameter::Gamma, 0.01), Status::Ok);
        QCOMPARE(camera.number("Gamma"), 4.0);
    }

    void nonsenseIsRefused() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        for (const Mapping& mapping : mappings()) {
            if (features.has(mapping.parameter))
                QCOMPARE(features.write(mapping.parameter, std::nan("")), Status::BadArgument);
        }
        QCOMPARE(features.write(Parameter::SnapMode, 3), Status::BadArgument);
        QCOMPARE(features.write(Parameter::AntiFlicker, 7), Status::BadArgument);
        QCOMPARE(camera.entry("TriggerMode"), QByteArray("Off"));
    }

    void unitsAndScales() {
        PlayedCamera camera(Description()
                                .real("BlackLevel", {"0", "100", "%"})
                                .real("Saturation", {"0", "400", "%"})
                                .real("ExposureTime", {"0.00001", "1", "s"})
                                .real("AutoExposureTargetGreyValue", {"4", "99", "%"})
                                .integer("Gain", {"0", "480"}));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::BlackLevel, 51), Status::Ok);
        QCOMPARE(camera.number("BlackLevel"), 20.0);
        QCOMPARE(valueOf(features, Parameter::BlackLevel), 51.0);
        QCOMPARE(features.write(Parameter::Saturation, 1.5), Status::Ok);
        QCOMPARE(camera.number("Saturation"), 150.0);
        QCOMPARE(features.write(Parameter::Exposure, 1000), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 0.01);
        QCOMPARE(valueOf(features, Parameter::Exposure), 1000.0);
        QCOMPARE(features.write(Parameter::AeTarget, 51), Status::Ok);
        QCOMPARE(camera.number("AutoExposureTargetGreyValue"), 20.0);
        // An integer that is not in dB: the camera's own numbers.
        QCOMPARE(features.write(Parameter::Gain, 200), Status::Ok);
        QCOMPARE(camera.number("Gain"), 200.0);
    }

    void aGainThatIsNotInDecibels_data() {
        QTest::addColumn<QByteArray>("unit");
        QTest::addColumn<QByteArray>("greatest");
        QTest::addColumn<double>("written");
        QTest::newRow("dB") << QByteArray("dB") << QByteArray("36") << 6.0206;
        QTest::newRow("db, in small letters") << QByteArray(" db ") << QByteArray("36") << 6.0206;
        QTest::newRow("without a unit") << QByteArray() << QByteArray("36") << 6.0206;
        QTest::newRow("per cent") << QByteArray("%") << QByteArray("100") << 32.0;
        QTest::newRow("a factor") << QByteArray("x") << QByteArray("64") << 32.0;
        QTest::newRow("too large for dB") << QByteArray() << QByteArray("1023") << 32.0;
    }
    void aGainThatIsNotInDecibels() {
        QFETCH(QByteArray, unit);
        QFETCH(QByteArray, greatest);
        QFETCH(double, written);
        const PlayedCamera camera(Description().real("Gain", {"0", greatest, unit}));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 32), Status::Ok);
        QVERIFY2(std::abs(camera.number("Gain") - written) < 1e-4, QByteArray::number(camera.number("Gain")));
        QCOMPARE(valueOf(features, Parameter::Gain), 32.0);
    }

    void saysWhatWasNotWrittenAsAsked() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 64), Status::Ok);
        QVERIFY(features.isAsAsked());
        QCOMPARE(features.write(Parameter::Gain, 1100), Status::Ok);
        QVERIFY(!features.isAsAsked());
        QCOMPARE(features.write(Parameter::Exposure, 200000), Status::Ok);
        QVERIFY(features.isAsAsked());
        QCOMPARE(features.write(Parameter::Exposure, 210000), Status::Ok);
        QVERIFY(!features.isAsAsked());
    }

    void selectorsAreWrittenOnce() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::BlackLevel, 17), Status::Ok);
        QCOMPARE(camera.entry("BlackLevelSelector"), QByteArray("All"));
        // A question less: nobody else has control, so it is still what it was.
        camera.setEntry("BlackLevelSelector", "Red");
        valueOf(features, Parameter::BlackLevel);
        QCOMPARE(camera.entry("BlackLevelSelector"), QByteArray("Red"));
        // But for the camera, which may choose otherwise when it loads a user set.
        QCOMPARE(features.loadUserSet(1), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::BlackLevel), 17.0);
        QCOMPARE(camera.entry("BlackLevelSelector"), QByteArray("All"));
    }

    void tellsOfAnswers() {
        PlayedCamera camera(standardNames());
        int answers = 0;
        CameraFeatures features(camera.camera(), {}, [&] { ++answers; });
        QVERIFY(features.has(Parameter::Exposure));
        const int before = answers;
        valueOf(features, Parameter::Exposure);
        QVERIFY(answers > before);
        const int afterReading = answers;
        QCOMPARE(features.write(Parameter::Exposure, 100), Status::Ok);
        QVERIFY(answers > afterReading);
    }

    void theExposureUnitIsConfigured() {
        PlayedCamera camera(standardNames());
        CameraConfiguration configuration;
        configuration.exposureUnit = 100;
        CameraFeatures features(camera.camera(), configuration);
        QCOMPARE(features.write(Parameter::Exposure, 50), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 5000.0);
        QCOMPARE(valueOf(features, Parameter::Exposure), 50.0);
        // Pulses are of light, whatever the unit is.
        QCOMPARE(features.write(Parameter::AntiFlicker, 1), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 10000.0);
    }

    void withoutBounds() {
        PlayedCamera camera(Description()
                                .real("Gain", {"", ""})
                                .real("ExposureTime", {"", ""})
                                .integer("BlackLevelRaw", {"", ""})
                                .real("AcquisitionFrameRate", {"", ""})
                                .integer("AutoTargetValue", {"", ""}));
        camera.setNumber("AcquisitionFrameRate", 10);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 32), Status::Ok);
        QVERIFY(std::abs(camera.number("Gain") - 6.0206) < 1e-4);
        QCOMPARE(features.write(Parameter::Exposure, 2147483647), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 21474836470.0);
        QCOMPARE(features.write(Parameter::BlackLevel, 255), Status::Ok);
        QCOMPARE(camera.number("BlackLevelRaw"), 255.0);
        QCOMPARE(features.write(Parameter::AeTarget, 200), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::AeTarget), 200.0);
        // A greatest rate that nobody knows cannot be had; a delay can, on top of what the exposure leaves.
        QCOMPARE(features.write(Parameter::Exposure, 1000), Status::Ok);
        QVERIFY(!features.has(Parameter::Highspeed));
        QCOMPARE(features.write(Parameter::Delay, 100), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 5.0);
    }

    void boundsThatAreWrongWayRound() {
        PlayedCamera camera(Description().real("ExposureTime", {"1000", "10"}));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Exposure, 5), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 50.0);
    }

    void nodesOfEveryKindServe() {
        PlayedCamera camera(Description()
                                .realConverted("Gain", {"0", "24", "dB"})
                                .integerConverted("BlackLevel", {"0", "255"})
                                .bareReal("ExposureTime")
                                .bareInteger("DigitalShift")
                                .someBits("AutoTargetValue"));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 32), Status::Ok);
        QVERIFY(std::abs(camera.number("Gain") - 6.02) < 0.02);
        QCOMPARE(valueOf(features, Parameter::Gain), 32.0);
        QCOMPARE(features.write(Parameter::BlackLevel, 17), Status::Ok);
        QCOMPARE(camera.number("BlackLevel"), 17.0);
        QCOMPARE(features.write(Parameter::Exposure, 100), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 1000.0);
        QCOMPARE(features.write(Parameter::AdvancedGain, 3), Status::Ok);
        QCOMPARE(camera.number("DigitalShift"), 3.0);
        QCOMPARE(features.write(Parameter::AeTarget, 180), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::AeTarget), 180.0);
    }

    void readOnlyFeaturesDoNotServe() {
        const PlayedCamera camera(
            Description()
                .boolean("ReverseX", "RO")
                .boolean("ReverseY", "RO")
                .real("Gain", {"0", "24", "dB", "", "<ImposedAccessMode>RO</ImposedAccessMode>"})
                .integer("GainRaw", {"0", "100"}));
        CameraFeatures features(camera.camera(), {});
        QVERIFY(!features.has(Parameter::MirrorX));
        QVERIFY(!features.has(Parameter::MirrorY));
        QCOMPARE(features.write(Parameter::MirrorX, 1), Status::Unsupported);
        QCOMPARE(features.featureOf(Parameter::Gain), QByteArray("GainRaw"));
    }

    void unavailableFeaturesDoNotServe() {
        PlayedCamera camera(
            Description()
                .boolean("Colour")
                .real("Saturation", {"0", "2", "", "", "<pIsAvailable>Colour</pIsAvailable>"})
                .real("Gamma", {"0", "4", "", "", "<pIsImplemented>Colour</pIsImplemented>"}));
        QVERIFY(!CameraFeatures(camera.camera(), {}).has(Parameter::Saturation));
        QVERIFY(!CameraFeatures(camera.camera(), {}).has(Parameter::Gamma));
        camera.setOn("Colour", true);
        QVERIFY(CameraFeatures(camera.camera(), {}).has(Parameter::Saturation));
        QVERIFY(CameraFeatures(camera.camera(), {}).has(Parameter::Gamma));
    }

    void automaticsWithoutContinuousDoNotServe() {
        const PlayedCamera camera(
            Description().enumeration("GainAuto", {"Off", "Once"}).boolean("ExposureAuto"));
        CameraFeatures features(camera.camera(), {});
        QVERIFY(!features.has(Parameter::Agc));
        QVERIFY(features.has(Parameter::Aec));
        QCOMPARE(features.write(Parameter::Aec, 1), Status::Ok);
        QVERIFY(camera.isOn("ExposureAuto"));
        QCOMPARE(valueOf(features, Parameter::Aec), 1.0);
    }

    void lockedWhileStreaming() {
        PlayedCamera camera(
            Description().boolean("Streams").boolean("ReverseX", "RW", "<pIsLocked>Streams</pIsLocked>"));
        camera.setOn("Streams", true);
        CameraFeatures features(camera.camera(), {});
        QVERIFY(features.has(Parameter::MirrorX));
        QVERIFY(features.isLocked(Parameter::MirrorX));
        QCOMPARE(features.write(Parameter::MirrorX, 1), Status::DeviceFailure);
        QVERIFY(features.reason().contains("ReverseX"));
        QVERIFY(!camera.isOn("ReverseX"));
        camera.setOn("Streams", false);
        QVERIFY(!features.isLocked(Parameter::MirrorX));
        QCOMPARE(features.write(Parameter::MirrorX, 1), Status::Ok);
        QVERIFY(camera.isOn("ReverseX"));
    }

    void theAutomaticOverrulesWhatItLocks() {
        PlayedCamera camera(
            Description()
                .enumeration("ExposureAuto", {"Off", "Continuous"})
                .real("ExposureTime", {"10", "100000", "us", "", "<pIsLocked>ExposureAuto</pIsLocked>"}));
        camera.setNumber("ExposureTime", 5000);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Aec, 1), Status::Ok);
        QCOMPARE(features.write(Parameter::Exposure, 100), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 5000.0);
        QCOMPARE(features.write(Parameter::AntiFlicker, 1), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 5000.0);
        // What the automatic has found becomes the operator's, in whole pulses.
        camera.setNumber("ExposureTime", 27000);
        QCOMPARE(features.write(Parameter::Aec, 0), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 30000.0);
        QCOMPARE(features.write(Parameter::AntiFlicker, 0), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 27000.0);
    }

    void gammaIsSwitchedOnFirst() {
        PlayedCamera camera(standardNames());
        camera.setNumber("Gamma", 0.25);
        CameraFeatures features(camera.camera(), {});
        // Switched off it does nothing.
        QCOMPARE(valueOf(features, Parameter::Gamma), 1.0);
        QCOMPARE(features.write(Parameter::Gamma, 2), Status::Ok);
        QVERIFY(camera.isOn("GammaEnable"));
        QCOMPARE(camera.number("Gamma"), 0.5);
    }

    void gainsDoNotMix() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Gain, 32), Status::Ok);
        QCOMPARE(features.write(Parameter::AdvancedGain, 2), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::Gain), 32.0);
        QCOMPARE(valueOf(features, Parameter::AdvancedGain), 2.0);
        camera.setEntry("GainSelector", "DigitalAll");
        QVERIFY(std::abs(camera.number("Gain") - 12.0412) < 1e-4);
        camera.setEntry("GainSelector", "AnalogAll");
        QVERIFY(std::abs(camera.number("Gain") - 6.0206) < 1e-4);
    }

    void aGainThatIsDigitalAloneIsTheGain() {
        PlayedCamera camera(Description()
                                .enumeration("GainSelector", {"DigitalAll"})
                                .selected("Gain", "GainSelector", {"0", "24", "dB"}));
        CameraFeatures features(camera.camera(), {});
        QVERIFY(features.has(Parameter::Gain));
        QVERIFY(!features.has(Parameter::AdvancedGain));
    }

    /// A factor of its own is none of doublings.
    void aDigitalGainWithoutDecibelsIsNone() {
        PlayedCamera camera(Description()
                                .enumeration("GainSelector", {"AnalogAll", "DigitalAll"})
                                .selected("Gain", "GainSelector", {"1", "16", "x"}));
        CameraFeatures features(camera.camera(), {});
        QVERIFY(features.has(Parameter::Gain));
        QVERIFY(!features.has(Parameter::AdvancedGain));
    }

    void aRateOfNonsenseIsNone_data() {
        QTest::addColumn<double>("rate");
        QTest::newRow("0") << 0.0;
        QTest::newRow("negative") << -25.0;
        QTest::newRow("of no camera") << 1e12;
        QTest::newRow("no number") << std::nan("");
    }
    /// Nothing could be slowed down from there.
    void aRateOfNonsenseIsNone() {
        QFETCH(double, rate);
        PlayedCamera camera(Description().real("AcquisitionFrameRate", {"", "", "Hz"}));
        camera.setNumber("AcquisitionFrameRate", rate);
        CameraFeatures features(camera.camera(), {});
        QVERIFY(!features.has(Parameter::Delay));
        QVERIFY(!features.has(Parameter::Highspeed));
        QCOMPARE(features.baseRate(), 0.0);
        QCOMPARE(features.write(Parameter::Delay, 100), Status::Unsupported);
    }

    void digitalShift() {
        PlayedCamera camera(Description().integer("DigitalShift", {"0", "2"}));
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::AdvancedGain, 1), Status::Ok);
        QCOMPARE(camera.number("DigitalShift"), 1.0);
        QCOMPARE(features.write(Parameter::AdvancedGain, 3), Status::Ok);
        QCOMPARE(camera.number("DigitalShift"), 2.0);
    }

    void errorsOfAravis_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("status");
        QTest::newRow("time-out") << int(ARV_DEVICE_ERROR_TIMEOUT) << int(Status::Disconnected);
        QTest::newRow("not connected") << int(ARV_DEVICE_ERROR_NOT_CONNECTED) << int(Status::Disconnected);
        QTest::newRow("not controller") << int(ARV_DEVICE_ERROR_NOT_CONTROLLER) << int(Status::Disconnected);
        QTest::newRow("protocol") << int(ARV_DEVICE_ERROR_PROTOCOL_ERROR) << int(Status::DeviceFailure);
        QTest::newRow("feature") << int(ARV_DEVICE_ERROR_FEATURE_NOT_FOUND) << int(Status::DeviceFailure);
    }
    void errorsOfAravis() {
        QFETCH(int, code);
        QFETCH(int, status);
        GError* error = g_error_new_literal(ARV_DEVICE_ERROR, code, "text");
        QCOMPARE(static_cast<int>(statusOf(error)), status);
        g_error_free(error);
        error = g_error_new_literal(ARV_GC_ERROR, code, "text");
        QCOMPARE(statusOf(error), Status::DeviceFailure);
        g_error_free(error);
        QCOMPARE(statusOf(nullptr), Status::Ok);
    }
};

QTEST_GUILESS_MAIN(TestCameraFeatures)
#include "tst_camerafeatures.moc"
