// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include <cmath>

#include "camerafeatures.h"
#include "playedcamera.h"
#include "valuekeeper.h"

using namespace kvgen;

namespace {

Description withAutomatics() {
    return Description()
        .enumeration("ExposureAuto", {"Off", "Continuous"})
        .enumeration("GainAuto", {"Off", "Continuous"})
        .real("ExposureTime", {"20", "1000000", "us"})
        .real("Gain", {"0", "36", "dB"});
}

struct Bench {
    explicit Bench(const Description& description = withAutomatics(), const InLibrary& inLibrary = {})
        : camera(description), features(camera.camera(), {}), values(with(inLibrary)) {}
    static CameraConfiguration with(const InLibrary& inLibrary) {
        CameraConfiguration configuration;
        configuration.inLibrary = inLibrary;
        return configuration;
    }
    double valueOf(Parameter parameter) {
        double value = -12345;
        return values.get(features, parameter, value) == Status::Ok ? value : -12345;
    }
    PlayedCamera camera;
    CameraFeatures features;
    ValueKeeper values;
};

}  // namespace

/// What is wanted of a camera, and what the camera has made of it.
class TestValueKeeper : public QObject {
    Q_OBJECT

private slots:
    void stepsOfTheCameraDoNotShow() {
        Bench bench(Description().integer("GainRaw", {"0", "360", "", "20"}));
        QCOMPARE(bench.values.set(bench.features, Parameter::Gain, 209), Status::Ok);
        QCOMPARE(bench.camera.number("GainRaw"), 200.0);
        QCOMPARE(bench.valueOf(Parameter::Gain), 209.0);
        // Somebody has changed it.
        bench.camera.setNumber("GainRaw", 220);
        QCOMPARE(bench.valueOf(Parameter::Gain), 220.0);
    }

    void theEndOfTheRangeShows() {
        Bench bench;
        QCOMPARE(bench.values.set(bench.features, Parameter::Exposure, 110000), Status::Ok);
        QCOMPARE(bench.valueOf(Parameter::Exposure), 100000.0);
        QCOMPARE(bench.values.set(bench.features, Parameter::Gain, 1100), Status::Ok);
        QCOMPARE(bench.valueOf(Parameter::Gain), 1010.0);
        Bench raw(Description().integer("GainRaw", {"0", "360"}));
        QCOMPARE(raw.values.set(raw.features, Parameter::Gain, 400), Status::Ok);
        QCOMPARE(raw.valueOf(Parameter::Gain), 360.0);
        QCOMPARE(raw.values.set(raw.features, Parameter::Gain, 361), Status::Ok);
        QCOMPARE(raw.valueOf(Parameter::Gain), 360.0);
    }

    void whatTheAutomaticHasFoundIsWanted() {
        Bench bench;
        QCOMPARE(bench.values.set(bench.features, Parameter::Exposure, 50), Status::Ok);
        QCOMPARE(bench.values.set(bench.features, Parameter::Gain, 16), Status::Ok);
        QCOMPARE(bench.values.set(bench.features, Parameter::Aec, 1), Status::Ok);
        QCOMPARE(bench.values.set(bench.features, Parameter::Agc, 1), Status::Ok);
        bench.camera.setNumber("ExposureTime", 13470);
        bench.camera.setNumber("Gain", 12.0412);
        ParameterValues inEffect = bench.values.wanted();
        QCOMPARE(bench.values.readAutomatic(bench.features, inEffect), Status::Ok);
        QCOMPARE(inEffect[Parameter::Exposure].value_or(0), 1347.0);
        QCOMPARE(inEffect[Parameter::Gain].value_or(0), 64.0);
        QCOMPARE(bench.values.set(bench.features, Parameter::Aec, 0), Status::Ok);
        QCOMPARE(bench.values.set(bench.features, Parameter::Agc, 0), Status::Ok);
        QCOMPARE(bench.values.wanted()[Parameter::Exposure].value_or(0), 1347.0);
        QCOMPARE(bench.values.wanted()[Parameter::Gain].value_or(0), 64.0);
        // A camera that has forgotten everything gets them, and not the other way round.
        bench.camera.setNumber("ExposureTime", 10000);
        bench.camera.setNumber("Gain", 0);
        QCOMPARE(bench.values.push(bench.features, [] {}), Status::Ok);
        QCOMPARE(bench.camera.number("ExposureTime"), 13470.0);
        QVERIFY(std::abs(bench.camera.number("Gain") - 12.0412) < 1e-4);
    }

    void whatTheLibraryDoesHasItsLimits() {
        Bench bench(Description(), {true, true, true, true, true});
        for (const Parameter parameter : {Parameter::Gamma, Parameter::Contrast, Parameter::Saturation,
                                          Parameter::BlackLevel, Parameter::MirrorX, Parameter::MirrorY}) {
            QVERIFY(!bench.values.isLacking(bench.features, parameter));
            const double before = bench.valueOf(parameter);
            QCOMPARE(bench.values.set(bench.features, parameter, std::nan("")), Status::BadArgument);
            QCOMPARE(bench.valueOf(parameter), before);
            QCOMPARE(bench.values.set(bench.features, parameter, 1), Status::Ok);
            QCOMPARE(bench.valueOf(parameter), 1.0);
        }
        QVERIFY(bench.values.tuning().mirrorX && bench.values.tuning().mirrorY);
        QCOMPARE(bench.values.tuning().blackLevel, 1);
        // Nobody does these for the camera.
        for (const Parameter parameter : {Parameter::Gain, Parameter::Exposure, Parameter::SnapMode})
            QVERIFY(bench.values.isLacking(bench.features, parameter));
    }

    void anAutomaticThatWasOffChangesNothing() {
        Bench bench(Description()
                        .enumeration("GainAuto", {"Off", "Continuous"})
                        .integer("GainRaw", {"0", "360", "", "20"}));
        QCOMPARE(bench.values.set(bench.features, Parameter::Gain, 209), Status::Ok);
        QCOMPARE(bench.values.set(bench.features, Parameter::Agc, 0), Status::Ok);
        QCOMPARE(bench.values.wanted()[Parameter::Gain].value_or(0), 209.0);
    }
};

QTEST_GUILESS_MAIN(TestValueKeeper)
#include "tst_valuekeeper.moc"
