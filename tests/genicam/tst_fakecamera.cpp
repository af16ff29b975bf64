// SPDX-License-Identifier: Apache-2.0
// The fake cameras themselves, by Aravis alone: what the tests of the library take for granted.
#include "directcamera.h"

#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QtTest>

#include "fakecameras.h"
#include "fakeoptions.h"
#include "privatenetwork.h"
#include "scene.h"

using fake::Rgb;

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;

QStringList options(const QStringList& more = {}) {
    return QStringList{"--width", QString::number(kWidth), "--height", QString::number(kHeight), "--rate",
                       "50"} +
           more;
}

/// What a camera of this format sends for a colour at a pixel, its one byte or the first of its three.
uint8_t sampleOf(const fake::Format& format, const Rgb& colour, int x, int y) {
    if (format.name == "RGB8")
        return colour.red;
    if (format.name == "BGR8")
        return colour.blue;
    if (!format.isBayer())
        return fake::greyOf(colour);
    const int channel = format.bayerChannel(x, y);
    return channel == 0 ? colour.red : channel == 1 ? colour.green : colour.blue;
}

/// Pixels outside the stamps that are not as the scene is, seen through `place` (frame px to sensor px).
template <typename Place>
int wrongPixels(const SentFrame& frame, const Place& place, const fake::Development& development = {}) {
    const fake::Format* format = fake::formatOf(frame.format);
    if (!format || frame.pixels.size() != frame.width * frame.height * frame.channels())
        return -1;
    int wrong = 0;
    for (int y = fake::kStampHeight; y < frame.height - fake::kStampHeight; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const QPoint at = place(x, y);
            const uint8_t light = sampleOf(*format, fake::sceneAt(at.x(), at.y()), x, y);
            wrong += *frame.at(x, y) != fake::developed(light, development) ? 1 : 0;
        }
    }
    return wrong;
}

QPoint straight(int x, int y) {
    return {x, y};
}

}  // namespace

class FakeCameraTest : public QObject {
    Q_OBJECT

private slots:
    void pictureIsTheScene_data();
    void pictureIsTheScene();
    void mirrorsAndTheirPhase_data();
    void mirrorsAndTheirPhase();
    void parameterActs_data();
    void parameterActs();
    void regionAndBinning();
    void formatStaysWhileFramesAreSent();
    void automaticsReachTheirTarget_data();
    void automaticsReachTheirTarget();
    void userSetKeepsTheParameters();
    void userSetsHoldLessOrMore();
    void locksWhileItStreams();
    void shotsOneToOne();
    void lineTriggers();
    void lossIsCountedAndNothingIsTorn();
    void killedAndStartedAgain();
    void frozenAndThawed();
    void namesOfOtherMakers();
    void bareCamera();
    void oddDescriptions();
    void slowAnswers();
    void discoveredInANetworkOfTheirOwn();
};

void FakeCameraTest::pictureIsTheScene_data() {
    QTest::addColumn<QByteArray>("format");
    for (const char* format : {"Mono8", "RGB8", "BGR8", "BayerRG8", "BayerGR8", "BayerGB8", "BayerBG8"})
        QTest::newRow(format) << QByteArray(format);
}

void FakeCameraTest::pictureIsTheScene() {
    QFETCH(QByteArray, format);
    FakeCameras fakes(1, options({"--format", QString::fromLatin1(format)}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY2(camera.isOpen(), qPrintable(camera.error()));
    QCOMPARE(camera.text("PixelFormat"), format);
    QVERIFY2(camera.start(), qPrintable(camera.error()));
    const SentFrame first = camera.fresh();
    QCOMPARE(first.width, kWidth);
    QCOMPARE(first.height, kHeight);
    QCOMPARE(first.format, fake::formatOf(format)->code);
    QCOMPARE(wrongPixels(first, straight), 0);
    QCOMPARE(first.number(), first.numberBelow());
    const SentFrame second = camera.fresh();
    QVERIFY(second.number() > first.number());
}

void FakeCameraTest::mirrorsAndTheirPhase_data() {
    QTest::addColumn<QString>("option");
    QTest::addColumn<bool>("mirrorX");
    QTest::addColumn<bool>("mirrorY");
    QTest::addColumn<QByteArray>("format");
    const QString moves = "--mirror-changes-phase";
    QTest::newRow("the phase stays") << QString() << true << true << QByteArray("BayerRG8");
    QTest::newRow("moves, X") << moves << true << false << QByteArray("BayerGR8");
    QTest::newRow("moves, Y") << moves << false << true << QByteArray("BayerGB8");
    QTest::newRow("moves, both") << moves << true << true << QByteArray("BayerBG8");
}

void FakeCameraTest::mirrorsAndTheirPhase() {
    QFETCH(QString, option);
    QFETCH(bool, mirrorX);
    QFETCH(bool, mirrorY);
    QFETCH(QByteArray, format);
    QStringList more{"--format", "BayerRG8"};
    if (!option.isEmpty())
        more.append(option);
    FakeCameras fakes(1, options(more));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.set("ReverseX", mirrorX) && camera.set("ReverseY", mirrorY));
    QCOMPARE(camera.text("PixelFormat"), format);
    QVERIFY(camera.start());
    const SentFrame frame = camera.fresh();
    QCOMPARE(frame.format, fake::formatOf(format)->code);
    QCOMPARE(wrongPixels(frame,
                         [&](int x, int y) {
                             return QPoint(mirrorX ? kWidth - 1 - x : x, mirrorY ? kHeight - 1 - y : y);
                         }),
             0);
    QVERIFY(camera.set("ReverseX", 0) && camera.set("ReverseY", 0));
    QCOMPARE(camera.text("PixelFormat"), QByteArray("BayerRG8"));
}

void FakeCameraTest::parameterActs_data() {
    QTest::addColumn<QByteArray>("feature");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("factor");
    QTest::addColumn<double>("blackLevel");
    QTest::addColumn<double>("gamma");
    QTest::newRow("gain") << QByteArray("Gain") << 6.0 << fake::factorOf(10000, 6) << 0.0 << 1.0;
    QTest::newRow("exposure") << QByteArray("ExposureTime") << 5000.0 << 0.5 << 0.0 << 1.0;
    QTest::newRow("digital shift") << QByteArray("DigitalShift") << 1.0 << 2.0 << 0.0 << 1.0;
    QTest::newRow("black level") << QByteArray("BlackLevel") << 20.0 << 1.0 << 20.0 << 1.0;
    QTest::newRow("gamma") << QByteArray("Gamma") << 0.5 << 1.0 << 0.0 << 0.5;
}

void FakeCameraTest::parameterActs() {
    QFETCH(QByteArray, feature);
    QFETCH(double, value);
    QFETCH(double, factor);
    QFETCH(double, blackLevel);
    QFETCH(double, gamma);
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.start());
    QVERIFY2(camera.set(feature.constData(), value), qPrintable(camera.error()));
    QCOMPARE(camera.real(feature.constData()), value);
    fake::Development development;
    development.factor = factor;
    development.blackLevel = blackLevel;
    development.gamma = gamma;
    QCOMPARE(wrongPixels(camera.fresh(), straight, development), 0);
}

void FakeCameraTest::regionAndBinning() {
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.set("Width", 160) && camera.set("Height", 120));
    QVERIFY(camera.set("OffsetX", 32) && camera.set("OffsetY", 16));
    QVERIFY(camera.start());
    const SentFrame region = camera.fresh();
    QCOMPARE(region.width, 160);
    QCOMPARE(wrongPixels(region, [](int x, int y) { return QPoint(x + 32, y + 16); }), 0);
    camera.stop();

    QVERIFY(camera.set("BinningHorizontal", 2) && camera.set("BinningVertical", 2));
    QCOMPARE(camera.real("WidthMax"), kWidth / 2.0);
    QVERIFY(camera.set("Width", kWidth / 2) && camera.set("Height", kHeight / 2));
    QVERIFY(camera.start());
    const SentFrame binned = camera.fresh();
    QCOMPARE(binned.width, kWidth / 2);
    QCOMPARE(wrongPixels(binned, [](int x, int y) { return QPoint(2 * x, 2 * y); }), 0);
}

void FakeCameraTest::formatStaysWhileFramesAreSent() {
    FakeCameras fakes(1, options({"--format", "Mono8,RGB8"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.start());
    QVERIFY(camera.fresh().isComplete);
    camera.set("Width", 160);
    camera.choose("PixelFormat", "RGB8");
    QCOMPARE(camera.real("Width"), double(kWidth));
    QCOMPARE(camera.text("PixelFormat"), QByteArray("Mono8"));
    camera.stop();
    QVERIFY(camera.choose("PixelFormat", "RGB8"));
    QCOMPARE(camera.text("PixelFormat"), QByteArray("RGB8"));
}

void FakeCameraTest::automaticsReachTheirTarget_data() {
    QTest::addColumn<QByteArray>("automatic");
    QTest::addColumn<QByteArray>("steered");
    QTest::newRow("exposure") << QByteArray("ExposureAuto") << QByteArray("ExposureTime");
    QTest::newRow("gain") << QByteArray("GainAuto") << QByteArray("Gain");
}

void FakeCameraTest::automaticsReachTheirTarget() {
    QFETCH(QByteArray, automatic);
    QFETCH(QByteArray, steered);
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    const double before = camera.real(steered.constData());
    QVERIFY(camera.start());
    QVERIFY(camera.set("AutoTargetBrightness", 0.6));
    QVERIFY(camera.choose(automatic.constData(), "Continuous"));
    const auto mean = [&camera] {
        const SentFrame frame = camera.fresh();
        double sum = 0;
        for (int y = 20; y < kHeight - 20; ++y) {
            for (int x = 0; x < kWidth; ++x)
                sum += *frame.at(x, y);
        }
        return sum / kWidth / (kHeight - 40);
    };
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(mean() - 0.6 * 255) < 15, 10000);
    QVERIFY(camera.real(steered.constData()) > before);
}

void FakeCameraTest::userSetKeepsTheParameters() {
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.choose("UserSetSelector", "UserSet1"));
    QVERIFY(camera.set("Gamma", 0.7) && camera.set("ReverseX", 1));
    QVERIFY(camera.execute("UserSetSave"));
    QVERIFY(camera.set("Gamma", 2) && camera.set("ReverseX", 0));
    QVERIFY(camera.execute("UserSetLoad"));
    QCOMPARE(camera.real("Gamma"), 0.7);
    QVERIFY(camera.isOn("ReverseX"));
    QVERIFY(camera.choose("UserSetSelector", "Default") && camera.execute("UserSetLoad"));
    QCOMPARE(camera.real("Gamma"), 1.0);
}

void FakeCameraTest::userSetsHoldLessOrMore() {
    FakeCameras fakes(2, options());
    fakes.setOptions(0, {"--user-sets", "little"});
    fakes.setOptions(1, {"--user-sets", "all"});
    QCOMPARE(fakes.start(), QString());
    for (const bool isAll : {false, true}) {
        DirectCamera camera(fakes.address(isAll ? 1 : 0));
        QVERIFY(camera.choose("UserSetSelector", "UserSet1"));
        QVERIFY(camera.set("Gain", 3) && camera.set("ReverseX", 1) && camera.choose("TriggerMode", "On"));
        QVERIFY(camera.set("GevSCPD", 700) && camera.set("Width", 160));
        QVERIFY(camera.execute("UserSetSave"));
        QVERIFY(camera.set("Gain", 5) && camera.set("ReverseX", 0) && camera.choose("TriggerMode", "Off"));
        QVERIFY(camera.set("GevSCPD", 900) && camera.set("Width", 80));
        QVERIFY(camera.execute("UserSetLoad"));
        QCOMPARE(camera.real("Gain"), 3.0);
        QCOMPARE(camera.isOn("ReverseX"), isAll);
        QCOMPARE(camera.text("TriggerMode"), QByteArray(isAll ? "On" : "Off"));
        QCOMPARE(camera.real("GevSCPD"), isAll ? 700.0 : 900.0);
        QCOMPARE(camera.real("Width"), isAll ? 160.0 : 80.0);
    }
}

void FakeCameraTest::locksWhileItStreams() {
    FakeCameras fakes(1, options({"--locked", "mirrors,gain"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.set("Gain", 3) && camera.set("ReverseX", 1));
    QVERIFY(camera.start());
    QVERIFY(!camera.next().pixels.isEmpty());
    // Aravis's fake camera does not say that they were refused.
    camera.set("Gain", 5);
    camera.set("ReverseX", 0);
    camera.stop();
    QVERIFY(camera.isOn("ReverseX"));
    QCOMPARE(camera.real("Gain"), 3.0);
    QVERIFY(camera.set("Gain", 5) && camera.set("ReverseX", 0));
}

void FakeCameraTest::shotsOneToOne() {
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.choose("TriggerSource", "Software") && camera.choose("TriggerMode", "On"));
    QVERIFY(camera.start());
    QVERIFY(camera.next(300).pixels.isEmpty());
    for (uint32_t shot = 1; shot <= 20; ++shot) {
        QVERIFY(camera.execute("TriggerSoftware"));
        const SentFrame frame = camera.next();
        QVERIFY(frame.isComplete);
        QCOMPARE(frame.number(), shot);
        QCOMPARE(frame.numberBelow(), shot);
    }
    // Those that come faster than frames can be sent are sent one after the other.
    for (int shot = 0; shot < 3; ++shot)
        QVERIFY(camera.execute("TriggerSoftware"));
    for (uint32_t number = 21; number <= 23; ++number)
        QCOMPARE(camera.next().number(), number);
    QVERIFY(camera.next(300).pixels.isEmpty());
}

void FakeCameraTest::lineTriggers() {
    FakeCameras fakes(1, options({"--line-rate", "10"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.choose("TriggerSource", "Line1") && camera.choose("TriggerMode", "On"));
    QVERIFY(camera.start());
    for (int i = 0; i < 3; ++i)
        QVERIFY(camera.next().isComplete);
}

void FakeCameraTest::lossIsCountedAndNothingIsTorn() {
    FakeCameras fakes(1, options({"--loss", "0.02"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.start());
    QElapsedTimer timer;
    timer.start();
    int complete = 0;
    while ((camera.failures() < 3 || complete < 3) && timer.elapsed() < 20000) {
        const SentFrame frame = camera.next();
        if (!frame.isComplete)
            continue;
        ++complete;
        QCOMPARE(frame.number(), frame.numberBelow());
    }
    QVERIFY(camera.failures() >= 3);
    QVERIFY(complete >= 3);
}

void FakeCameraTest::killedAndStartedAgain() {
    FakeCameras fakes(2, options());
    QCOMPARE(fakes.start(), QString());
    {
        DirectCamera camera(fakes.address(0));
        DirectCamera other(fakes.address(1));
        QVERIFY(camera.start() && other.start());
        QVERIFY(camera.fresh().isComplete);
        fakes.kill(0);
        while (!camera.next(500).pixels.isEmpty()) {
        }
        QVERIFY(other.fresh().isComplete);
        QCOMPARE(fakes.start(0), QString());
    }
    DirectCamera again(fakes.address(0));
    QVERIFY2(again.isOpen(), qPrintable(again.error()));
    QVERIFY(again.start());
    QVERIFY(again.fresh().isComplete);
}

void FakeCameraTest::frozenAndThawed() {
    FakeCameras fakes(1, options());
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.start());
    QVERIFY(camera.fresh().isComplete);
    fakes.freeze(0);
    while (!camera.next(500).pixels.isEmpty()) {
    }
    fakes.thaw(0);
    QVERIFY(camera.fresh().isComplete);
}

void FakeCameraTest::namesOfOtherMakers() {
    FakeCameras fakes(2, options());
    fakes.setOptions(0, {"--raw-names"});
    fakes.setOptions(1, {"--names", "raw", "--features", "all,-gamma"});
    QCOMPARE(fakes.start(), QString());
    DirectCamera abs(fakes.address(0));
    QVERIFY(!arv_device_get_feature(abs.device(), "ExposureTime"));
    QVERIFY(abs.set("ExposureTimeAbs", 5000) && abs.set("GainRaw", 60));
    QVERIFY(abs.start());
    fake::Development development;
    development.factor = fake::factorOf(5000, 6);
    QCOMPARE(wrongPixels(abs.fresh(), straight, development), 0);
    DirectCamera raw(fakes.address(1));
    QVERIFY(raw.set("ExposureTimeRaw", 7000));
    QVERIFY(!arv_device_get_feature(raw.device(), "Gamma"));
    QCOMPARE(raw.real("ExposureTimeRaw"), 7000.0);
}

void FakeCameraTest::bareCamera() {
    FakeCameras fakes(1, options({"--features", "bare"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY2(camera.isOpen(), qPrintable(camera.error()));
    QVERIFY(!arv_device_get_feature(camera.device(), "ExposureTime"));
    QVERIFY2(camera.start(), qPrintable(camera.error()));
    QCOMPARE(wrongPixels(camera.fresh(), straight), 0);
}

void FakeCameraTest::oddDescriptions() {
    QTemporaryFile broken;
    QVERIFY(broken.open());
    broken.write("<RegisterDescription ModelName=\"cut off");
    broken.flush();
    FakeCameras fakes(2, options());
    fakes.setOptions(0, {"--xml-file", broken.fileName()});
    fakes.setOptions(1, {"--garbage-size", "2147483648"});
    QCOMPARE(fakes.start(), QString());
    const DirectCamera unreadable(fakes.address(0));
    QVERIFY(!unreadable.isOpen() || !arv_device_get_feature(unreadable.device(), "Width"));
    DirectCamera huge(fakes.address(1));
    QVERIFY(huge.isOpen());
    QCOMPARE(huge.real("Width"), 2147483648.0);
}

void FakeCameraTest::slowAnswers() {
    FakeCameras fakes(1, options({"--slow-answers", "150"}));
    QCOMPARE(fakes.start(), QString());
    DirectCamera camera(fakes.address(0));
    QVERIFY(camera.isOpen());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(camera.real("Gamma"), 1.0);
    QVERIFY(timer.elapsed() >= 150);
}

void FakeCameraTest::discoveredInANetworkOfTheirOwn() {
    if (!isNetworkPrivate())
        QSKIP("this system does not allow a network of its own");
    FakeCameras fakes(4, options());
    QCOMPARE(fakes.start(), QString());
    arv_update_device_list();
    QStringList found;
    for (unsigned i = 0; i < arv_get_n_devices(); ++i) {
        if (QByteArray(arv_get_device_protocol(i)) == "GigEVision")
            found.append(QString::fromLatin1(arv_get_device_serial_nbr(i)));
    }
    found.sort();
    QCOMPARE(found, QStringList({"FAKE0001", "FAKE0002", "FAKE0003", "FAKE0004"}));
}

CAMERA_TEST_MAIN(FakeCameraTest)

#include "tst_fakecamera.moc"
