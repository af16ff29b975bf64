// SPDX-License-Identifier: Apache-2.0
// Parameters that act on pixels, and shots, by the library's operations alone; the pictures are compared with
// the scene that the fake cameras see.
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <functional>

#include "camera/kvcap2.h"
#include "fakecameras.h"
#include "privatenetwork.h"
#include "scene.h"

using fake::Development;
using fake::Rgb;

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kTimeout = 3000;     // ms
constexpr int kActsWithin = 8000;  // ms until a change has to be seen, also on a busy machine
constexpr int kTolerance = 2;      // levels, for what is reckoned twice

/// The cameras, by what they send.
enum Sender { Mono, RgbSender, BgrSender, MovingPhase, BayerGr, BayerGb, StayingPhase, Bare };
const char* const kFormats[] = {"Mono8",    "RGB8",     "BGR8",     "BayerRG8",
                                "BayerGR8", "BayerGB8", "BayerBG8", "BayerRG8"};
constexpr int kCameras = 8;

bool isColour(int camera) {
    return camera != Mono;
}

struct Frame {
    QByteArray pixels;
    int width = 0;
    int height = 0;
    int channels = 0;
    int status = -1;

    const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(pixels.constData()); }
    Rgb at(int x, int y) const {
        const uint8_t* pixel = data() + (static_cast<int64_t>(y) * width + x) * channels;
        return channels == 3 ? Rgb{pixel[0], pixel[1], pixel[2]} : Rgb{pixel[0], pixel[0], pixel[0]};
    }
    uint32_t number() const { return fake::readStamp(data(), width, channels, 0); }
    bool isTorn() const {
        return number() != fake::readStamp(data(), width, channels, height - fake::kStampHeight);
    }
};

Frame query(int camera, int format) {
    Frame frame;
    int32_t length = 0;
    CameraGetImageSize(camera, &frame.width, &frame.height);
    CameraGetImageBufferSize(camera, &length, format);
    frame.pixels.fill('\x55', length);
    frame.channels = format == kFormatRgb24 ? 3 : 1;
    frame.status = CameraQueryImage(camera, reinterpret_cast<uint8_t*>(frame.pixels.data()), &length, format);
    return frame;
}

/// What is expected at a pixel of a frame that is not mirrored.
using Expected = std::function<Rgb(const Rgb& light)>;

bool isAlike(const Rgb& a, const Rgb& b) {
    return std::abs(a.red - b.red) <= kTolerance && std::abs(a.green - b.green) <= kTolerance &&
           std::abs(a.blue - b.blue) <= kTolerance;
}

QString textOf(const Rgb& colour) {
    return QStringLiteral("%1 %2 %3").arg(colour.red).arg(colour.green).arg(colour.blue);
}

/// The first square of the scene whose middle is not as expected; empty if all are. `scene` is the camera's.
QString difference(const Frame& frame, int scene, const Expected& expected, bool mirrorX = false,
                   bool mirrorY = false) {
    if (frame.status != 0)
        return QStringLiteral("no frame: status %1").arg(frame.status);
    if (frame.width != kWidth || frame.height != kHeight)
        return QStringLiteral("%1 x %2 px").arg(frame.width).arg(frame.height);
    // The squares at the edge have no neighbours, and those above and below carry the stamps.
    for (int y = fake::kSquare + fake::kSquare / 2; y < kHeight - fake::kSquare; y += fake::kSquare) {
        for (int x = fake::kSquare + fake::kSquare / 2; x < kWidth - fake::kSquare; x += fake::kSquare) {
            const Rgb light = fake::sceneAt(x, y, static_cast<uint32_t>(scene));
            Rgb wanted = expected(light);
            if (frame.channels == 1) {
                const uint8_t grey = fake::greyOf(wanted);
                wanted = {grey, grey, grey};
            }
            const Rgb found = frame.at(mirrorX ? kWidth - 1 - x : x, mirrorY ? kHeight - 1 - y : y);
            if (!isAlike(found, wanted)) {
                return QStringLiteral("at %1, %2: %3 instead of %4")
                    .arg(x)
                    .arg(y)
                    .arg(textOf(found), textOf(wanted));
            }
        }
    }
    return {};
}

Expected by(const Development& development) {
    return [development](const Rgb& light) { return fake::developed(light, development); };
}

/// Bytes; 0: it is no socket.
int receiveBufferOf(int file) {
    int bytes = 0;
    socklen_t length = sizeof bytes;
    return getsockopt(file, SOL_SOCKET, SO_RCVBUF, &bytes, &length) == 0 ? bytes : 0;
}

/// As the camera is: what it sees before anything is set.
Rgb plain(const Rgb& light) {
    return light;
}

/// A mono camera develops the grey that it sees.
Expected greyFirst(const Expected& expected) {
    return [expected](const Rgb& light) {
        const uint8_t grey = fake::greyOf(light);
        return expected({grey, grey, grey});
    };
}

}  // namespace

class GenicamPixelsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void coloursAreRight_data();
    void coloursAreRight();
    void mirroredColoursAreRight_data();
    void mirroredColoursAreRight();
    void parameterActs_data();
    void parameterActs();
    void saturationActs();
    void libraryActsWhereTheCameraCannot_data();
    void libraryActsWhereTheCameraCannot();
    void libraryMirrors_data();
    void libraryMirrors();
    void framesAreWholeAndInOrder();
    void listensToItsOwnCameraOnly();
    void hasRoomForTheFirstFrame();
    void shotsOneToOne();
    void shotStraightAfterTheSwitch();

private:
    void defaults(int camera);
    QString settled(int camera, int format, const Expected& expected, bool mirrorX = false,
                    bool mirrorY = false);

    QTemporaryDir folder_;
    std::unique_ptr<FakeCameras> fakes_;
};

void GenicamPixelsTest::initTestCase() {
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    fakes_ =
        std::make_unique<FakeCameras>(kCameras, QStringList{"--width", QString::number(kWidth), "--height",
                                                            QString::number(kHeight), "--rate", "20"});
    for (int camera = 0; camera < kCameras; ++camera) {
        QStringList options{"--format", kFormats[camera]};
        if (camera == MovingPhase || camera == BayerGr || camera == BayerGb)
            options.append("--mirror-changes-phase");
        if (camera == Bare)
            options += {"--features", "bare"};
        fakes_->setOptions(camera, options);
    }
    QCOMPARE(fakes_->start(), QString());
    QCOMPARE(
        fakes_->writeConfiguration(
            folder_.path(), {"InLibrary=gamma,contrast,saturation,blacklevel,mirrors", "PacketSize=8000"},
            {"AnswerWithin=1000"}),
        QString());
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, kCameras);
    for (int camera = 0; camera < kCameras; ++camera) {
        // A machine that is busy may hear of it a try later.
        int32_t width = 0;
        int32_t height = 0;
        CameraInit(camera);
        QTRY_COMPARE_WITH_TIMEOUT(CameraGetImageSize(camera, &width, &height), 0, kTimeout);
        QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
    }
}

void GenicamPixelsTest::cleanupTestCase() {
    for (int camera = 0; camera < kCameras; ++camera)
        QCOMPARE(CameraFree(camera), 0);
    fakes_.reset();
    QDir::setCurrent(QDir::rootPath());
}

void GenicamPixelsTest::init() {
    for (int camera = 0; camera < kCameras; ++camera)
        defaults(camera);
}

void GenicamPixelsTest::defaults(int camera) {
    // Not all have all of it.
    CameraSetMirrorX(camera, false);
    CameraSetMirrorY(camera, false);
    CameraSetGamma(camera, 1);
    CameraSetContrast(camera, 1);
    CameraSetSaturation(camera, 1);
    CameraSetBlackLevel(camera, 0);
    CameraSetGain(camera, 16);
    CameraSetAdvancedGain(camera, 0);
    CameraSetExposure(camera, 1000);
    CameraSetSnapMode(camera, kSnapContinuous);
}

/// Frames until one is as expected; what the last one was like, if none is in time.
QString GenicamPixelsTest::settled(int camera, int format, const Expected& expected, bool mirrorX,
                                   bool mirrorY) {
    QElapsedTimer timer;
    timer.start();
    QString last;
    do {
        last = difference(query(camera, format), camera, expected, mirrorX, mirrorY);
    } while (!last.isEmpty() && timer.elapsed() < kActsWithin);
    return last;
}

void GenicamPixelsTest::coloursAreRight_data() {
    QTest::addColumn<int>("camera");
    for (int camera = 0; camera < kCameras; ++camera)
        QTest::addRow("%s, camera %d", kFormats[camera], camera) << camera;
}

void GenicamPixelsTest::coloursAreRight() {
    QFETCH(int, camera);
    QCOMPARE(settled(camera, kFormatRgb24, isColour(camera) ? Expected(plain) : greyFirst(plain)), QString());
    QCOMPARE(settled(camera, kFormatMono8, plain), QString());
}

void GenicamPixelsTest::mirroredColoursAreRight_data() {
    QTest::addColumn<int>("camera");
    QTest::addColumn<bool>("mirrorX");
    QTest::addColumn<bool>("mirrorY");
    for (int camera = 0; camera < Bare; ++camera) {
        for (int mirrors = 1; mirrors <= 3; ++mirrors)
            QTest::addRow("%s, %s%s", kFormats[camera], mirrors & 1 ? "X" : "", mirrors & 2 ? "Y" : "")
                << camera << ((mirrors & 1) != 0) << ((mirrors & 2) != 0);
    }
}

void GenicamPixelsTest::mirroredColoursAreRight() {
    QFETCH(int, camera);
    QFETCH(bool, mirrorX);
    QFETCH(bool, mirrorY);
    QCOMPARE(CameraSetMirrorX(camera, mirrorX), 0);
    QCOMPARE(CameraSetMirrorY(camera, mirrorY), 0);
    const Expected expected = isColour(camera) ? Expected(plain) : greyFirst(plain);
    QCOMPARE(settled(camera, kFormatRgb24, expected, mirrorX, mirrorY), QString());
    bool isOn = !mirrorX;
    QCOMPARE(CameraGetMirrorX(camera, &isOn), 0);
    QCOMPARE(isOn, mirrorX);
}

void GenicamPixelsTest::parameterActs_data() {
    QTest::addColumn<int>("camera");
    QTest::addColumn<QString>("what");
    for (const int camera : {int(Mono), int(RgbSender), int(MovingPhase)}) {
        for (const char* what : {"gain", "advanced gain", "exposure", "black level", "gamma"})
            QTest::addRow("%s, %s", kFormats[camera], what) << camera << QString(what);
    }
}

void GenicamPixelsTest::parameterActs() {
    QFETCH(int, camera);
    QFETCH(QString, what);
    Development development;
    if (what == "gain") {
        QCOMPARE(CameraSetGain(camera, 24), 0);
        development.factor = 1.5;
    } else if (what == "advanced gain") {
        QCOMPARE(CameraSetExposure(camera, 600), 0);
        QCOMPARE(CameraSetAdvancedGain(camera, 1), 0);
        development.factor = 1.2;
    } else if (what == "exposure") {
        QCOMPARE(CameraSetExposure(camera, 500), 0);
        development.factor = 0.5;
    } else if (what == "black level") {
        QCOMPARE(CameraSetBlackLevel(camera, 20), 0);
        development.blackLevel = 20;
    } else {
        QCOMPARE(CameraSetGamma(camera, 2), 0);
        development.gamma = 0.5;
    }
    const Expected expected = by(development);
    QCOMPARE(settled(camera, kFormatRgb24, isColour(camera) ? expected : greyFirst(expected)), QString());
}

void GenicamPixelsTest::saturationActs() {
    QCOMPARE(CameraSetSaturation(RgbSender, 0), 0);
    Development development;
    development.saturation = 0;
    QCOMPARE(settled(RgbSender, kFormatRgb24, by(development)), QString());
}

void GenicamPixelsTest::libraryActsWhereTheCameraCannot_data() {
    QTest::addColumn<QString>("what");
    for (const char* what : {"gamma", "contrast", "saturation", "black level"})
        QTest::newRow(what) << QString(what);
}

void GenicamPixelsTest::libraryActsWhereTheCameraCannot() {
    QFETCH(QString, what);
    Expected expected;
    const auto each = [](const std::function<double(double)>& level) {
        return [level](const Rgb& light) {
            return Rgb{fake::toLevel(level(light.red)), fake::toLevel(level(light.green)),
                       fake::toLevel(level(light.blue))};
        };
    };
    if (what == "gamma") {
        QCOMPARE(CameraSetGamma(Bare, 2), 0);
        expected = each([](double level) { return 255 * std::sqrt(level / 255); });
    } else if (what == "contrast") {
        QCOMPARE(CameraSetContrast(Bare, 0.5), 0);
        expected = each([](double level) { return 127.5 + 0.5 * (level - 127.5); });
    } else if (what == "saturation") {
        QCOMPARE(CameraSetSaturation(Bare, 0), 0);
        expected = [](const Rgb& light) { return fake::saturated(light, 0); };
    } else {
        QCOMPARE(CameraSetBlackLevel(Bare, 20), 0);
        expected = each([](double level) { return level + 20; });
    }
    QCOMPARE(settled(Bare, kFormatRgb24, expected), QString());
}

void GenicamPixelsTest::libraryMirrors_data() {
    QTest::addColumn<bool>("mirrorX");
    QTest::addColumn<bool>("mirrorY");
    QTest::newRow("X") << true << false;
    QTest::newRow("Y") << false << true;
    QTest::newRow("both") << true << true;
}

void GenicamPixelsTest::libraryMirrors() {
    QFETCH(bool, mirrorX);
    QFETCH(bool, mirrorY);
    QCOMPARE(CameraSetMirrorX(Bare, mirrorX), 0);
    QCOMPARE(CameraSetMirrorY(Bare, mirrorY), 0);
    QCOMPARE(settled(Bare, kFormatRgb24, plain, mirrorX, mirrorY), QString());
    QCOMPARE(settled(Bare, kFormatMono8, plain, mirrorX, mirrorY), QString());
}

void GenicamPixelsTest::framesAreWholeAndInOrder() {
    uint32_t last = 0;
    for (int i = 0; i < 40; ++i) {
        const Frame frame = query(RgbSender, kFormatRgb24);
        QCOMPARE(frame.status, 0);
        QVERIFY(!frame.isTorn());
        QVERIFY2(frame.number() > last,
                 qPrintable(QStringLiteral("%1 after %2").arg(frame.number()).arg(last)));
        last = frame.number();
    }
}

// Until it has a filter, a packet socket hears what the cameras send to each other's streams.
void GenicamPixelsTest::listensToItsOwnCameraOnly() {
    QCOMPARE(query(RgbSender, kFormatRgb24).status, 0);
    QFile sockets(QStringLiteral("/proc/thread-self/net/packet"));
    QVERIFY(sockets.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = sockets.readAll().trimmed().split('\n');
    QVERIFY(!lines.first().isEmpty());
    QCOMPARE(lines.size(), 1);  // the heading
}

// Before it has come: its packets follow each other faster than a busy machine takes them.
void GenicamPixelsTest::hasRoomForTheFirstFrame() {
    for (int camera = 0; camera < kCameras; ++camera) {
        if (camera != Bare)
            QCOMPARE(CameraSetSnapMode(camera, kSnapTriggered), 0);
    }
    QCOMPARE(query(Bare, kFormatMono8).status, 0);  // knows no triggers, and has had frames
    // As much as the system grants, which tells more than was asked for.
    const int probe = socket(AF_INET, SOCK_DGRAM, 0);
    const int wanted = 8 << 20;
    setsockopt(probe, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    const int granted = receiveBufferOf(probe);
    close(probe);
    QVERIFY(granted > 0);
    int wide = 0;
    const QStringList files = QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
    for (const QString& file : files) {
        if (receiveBufferOf(file.toInt()) == granted)
            ++wide;
    }
    QCOMPARE(wide, kCameras);
}

void GenicamPixelsTest::shotsOneToOne() {
    QCOMPARE(CameraSetSnapMode(Mono, kSnapTriggered), 0);
    uint32_t first = 0;
    for (uint32_t shot = 0; shot < 20; ++shot) {
        QCOMPARE(CameraTriggerShot(Mono), 0);
        const Frame frame = query(Mono, kFormatMono8);
        QCOMPARE(frame.status, 0);
        QVERIFY(!frame.isTorn());
        first = shot == 0 ? frame.number() : first;
        QCOMPARE(frame.number(), first + shot);
    }
    QCOMPARE(CameraSetTimeout(Mono, 400), 0);
    QVERIFY(query(Mono, kFormatMono8).status != 0);
    QCOMPARE(CameraSetTimeout(Mono, kTimeout), 0);
}

void GenicamPixelsTest::shotStraightAfterTheSwitch() {
    for (int round = 0; round < 5; ++round) {
        QCOMPARE(CameraSetSnapMode(RgbSender, kSnapContinuous), 0);
        const Frame running = query(RgbSender, kFormatRgb24);
        QCOMPARE(running.status, 0);
        QCOMPARE(CameraSetSnapMode(RgbSender, kSnapTriggered), 0);
        QCOMPARE(CameraTriggerShot(RgbSender), 0);
        const Frame shot = query(RgbSender, kFormatRgb24);
        QCOMPARE(shot.status, 0);
        QVERIFY2(shot.number() > running.number(),
                 qPrintable(QStringLiteral("%1 after %2").arg(shot.number()).arg(running.number())));
        QCOMPARE(difference(shot, RgbSender, plain), QString());
        // What was under way at the switch is not taken for the shot.
        QCOMPARE(CameraSetTimeout(RgbSender, 400), 0);
        QVERIFY(query(RgbSender, kFormatRgb24).status != 0);
        QCOMPARE(CameraSetTimeout(RgbSender, kTimeout), 0);
    }
}

CAMERA_TEST_MAIN(GenicamPixelsTest)

#include "tst_genicampixels.moc"
