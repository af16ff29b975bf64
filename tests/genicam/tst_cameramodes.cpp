// SPDX-License-Identifier: Apache-2.0
// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include <QtTest>

#include "camerafeatures.h"
#include "namedfeatures.h"
#include "playedcamera.h"

using namespace kvgen;

/// Rates, triggers, user sets and the flicker of lamps: parameters that are several features of a camera.
class TestCameraModes : public QObject {
    Q_OBJECT

private slots:
    void antiFlicker() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Exposure, 1234), Status::Ok);
        QCOMPARE(features.write(Parameter::AntiFlicker, 1), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 10000.0);
        QCOMPARE(features.write(Parameter::Exposure, 8), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 10000.0);
        QCOMPARE(features.write(Parameter::Exposure, 2600), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 30000.0);
        QCOMPARE(features.write(Parameter::AntiFlicker, 2), Status::Ok);
        QVERIFY(std::abs(camera.number("ExposureTime") - 25000) < 1e-6);
        QCOMPARE(features.write(Parameter::AntiFlicker, 0), Status::Ok);
        QCOMPARE(camera.number("ExposureTime"), 26000.0);
    }

    void rates() {
        PlayedCamera camera(standardNames());
        camera.setNumber("AcquisitionFrameRate", 20);
        camera.setOn("AcquisitionFrameRateEnable", true);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.baseRate(), 20.0);
        QCOMPARE(features.write(Parameter::Delay, 50), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 10.0);
        QCOMPARE(features.write(Parameter::Highspeed, 1), Status::Ok);
        QVERIFY(std::abs(camera.number("AcquisitionFrameRate") - 1 / 0.07) < 1e-9);
        QCOMPARE(valueOf(features, Parameter::Delay), 50.0);
        QCOMPARE(features.write(Parameter::Delay, 0), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 50.0);
        QCOMPARE(features.write(Parameter::Highspeed, 0), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 20.0);
        // The camera goes no slower than once a second, and says so.
        QCOMPARE(features.write(Parameter::Delay, 60000), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 1.0);
        QCOMPARE(valueOf(features, Parameter::Delay), 950.0);
    }

    void aRateThatIsNotControlled() {
        PlayedCamera camera(standardNames());
        camera.setNumber("AcquisitionFrameRate", 7);
        CameraFeatures features(camera.camera(), {});
        // Without its control the camera runs as fast as it can.
        QCOMPARE(features.baseRate(), 50.0);
        QCOMPARE(features.write(Parameter::Delay, 80), Status::Ok);
        QVERIFY(camera.isOn("AcquisitionFrameRateEnable"));
        QCOMPARE(camera.number("AcquisitionFrameRate"), 10.0);
        QCOMPARE(features.write(Parameter::Delay, 0), Status::Ok);
        QVERIFY(!camera.isOn("AcquisitionFrameRateEnable"));
    }

    void theOtherNameOfTheRatesSwitch() {
        Description d;
        d.boolean("AcquisitionFrameRateEnabled").real("AcquisitionFrameRate", {"1", "50"});
        PlayedCamera camera(d);
        camera.setNumber("AcquisitionFrameRate", 7);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Delay, 80), Status::Ok);
        QVERIFY(camera.isOn("AcquisitionFrameRateEnabled"));
        QCOMPARE(camera.number("AcquisitionFrameRate"), 10.0);
    }

    void theConfiguredRate() {
        PlayedCamera camera(standardNames());
        CameraConfiguration configuration;
        configuration.frameRate = 12.5;
        CameraFeatures features(camera.camera(), configuration);
        QCOMPARE(features.baseRate(), 12.5);
        QVERIFY(camera.isOn("AcquisitionFrameRateEnable"));
        QCOMPARE(camera.number("AcquisitionFrameRate"), 12.5);
        configuration.frameRate = 10000;
        QCOMPARE(CameraFeatures(camera.camera(), configuration).baseRate(), 50.0);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 50.0);
    }

    void theDelayComesOnTopOfTheExposure() {
        PlayedCamera camera(standardNames());
        camera.setNumber("AcquisitionFrameRate", 50);
        camera.setOn("AcquisitionFrameRateEnable", true);
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::Exposure, 5000), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 50.0);
        // 50 ms of exposure and 100 ms of delay.
        QCOMPARE(features.write(Parameter::Delay, 100), Status::Ok);
        QVERIFY(std::abs(camera.number("AcquisitionFrameRate") - 1 / 0.15) < 1e-9);
        QCOMPARE(valueOf(features, Parameter::Delay), 100.0);
        // Also of an exposure that comes later, and back to one that the frame time is longer than.
        QCOMPARE(features.write(Parameter::Exposure, 10000), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 5.0);
        QCOMPARE(valueOf(features, Parameter::Delay), 100.0);
        QCOMPARE(features.write(Parameter::Exposure, 100), Status::Ok);
        QVERIFY(std::abs(camera.number("AcquisitionFrameRate") - 1 / 0.12) < 1e-9);
        QCOMPARE(features.write(Parameter::Delay, 0), Status::Ok);
        QCOMPARE(camera.number("AcquisitionFrameRate"), 50.0);
    }

    void triggers() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.shoot(), Status::WrongMode);
        QVERIFY(!camera.takeCommand("TriggerSoftware"));
        QCOMPARE(features.write(Parameter::SnapMode, 2), Status::Ok);
        QCOMPARE(camera.entry("TriggerSelector"), QByteArray("FrameStart"));
        QCOMPARE(camera.entry("TriggerMode"), QByteArray("On"));
        QCOMPARE(camera.entry("TriggerSource"), QByteArray("Software"));
        QCOMPARE(features.shoot(), Status::Ok);
        QVERIFY(camera.takeCommand("TriggerSoftware"));
        QCOMPARE(features.write(Parameter::SnapMode, 1), Status::Ok);
        QCOMPARE(camera.entry("TriggerMode"), QByteArray("Off"));
        QCOMPARE(features.shoot(), Status::WrongMode);
    }

    void aLineTriggers() {
        PlayedCamera camera(standardNames());
        CameraConfiguration configuration;
        configuration.triggerSource = "Line1";
        CameraFeatures features(camera.camera(), configuration);
        QCOMPARE(features.write(Parameter::SnapMode, 2), Status::Ok);
        QCOMPARE(camera.entry("TriggerSource"), QByteArray("Line1"));
        QCOMPARE(features.shoot(), Status::WrongMode);
        QVERIFY(!camera.takeCommand("TriggerSoftware"));
    }

    void aLineThatIsNotThere() {
        const PlayedCamera camera(standardNames());
        CameraConfiguration configuration;
        configuration.triggerSource = "Line9";
        CameraFeatures features(camera.camera(), configuration);
        QCOMPARE(features.write(Parameter::SnapMode, 2), Status::Unsupported);
        QVERIFY(features.reason().contains("Line9"));
        QCOMPARE(camera.entry("TriggerMode"), QByteArray("Off"));
    }

    void userSets() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QVERIFY(features.hasUserSet(1));
        QVERIFY(features.hasUserSet(2));
        QVERIFY(!features.hasUserSet(3));
        QCOMPARE(features.saveUserSet(2), Status::Ok);
        QCOMPARE(camera.entry("UserSetSelector"), QByteArray("UserSet2"));
        QVERIFY(camera.takeCommand("UserSetSave"));
        QVERIFY(!camera.takeCommand("UserSetLoad"));
        QCOMPARE(features.loadUserSet(1), Status::Ok);
        QCOMPARE(camera.entry("UserSetSelector"), QByteArray("UserSet1"));
        QVERIFY(camera.takeCommand("UserSetLoad"));
        QCOMPARE(features.saveUserSet(3), Status::Unsupported);
        QVERIFY(!camera.takeCommand("UserSetSave"));
    }

    void afterAUserSetNothingOfOursIsOnTop() {
        PlayedCamera camera(standardNames());
        CameraFeatures features(camera.camera(), {});
        QCOMPARE(features.write(Parameter::AntiFlicker, 1), Status::Ok);
        QCOMPARE(features.write(Parameter::Highspeed, 1), Status::Ok);
        QCOMPARE(features.write(Parameter::Delay, 100), Status::Ok);
        QCOMPARE(features.loadUserSet(1), Status::Ok);
        QCOMPARE(valueOf(features, Parameter::AntiFlicker), 0.0);
        QCOMPARE(valueOf(features, Parameter::Highspeed), 0.0);
        QCOMPARE(valueOf(features, Parameter::Delay), 0.0);
    }
};

QTEST_GUILESS_MAIN(TestCameraModes)
#include "tst_cameramodes.moc"
