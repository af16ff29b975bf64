// SPDX-License-Identifier: Apache-2.0
// The program as its users have it, on a desktop, with four GigE cameras of its own: what is on the screen
// and in saved pictures is compared with what the cameras see.
#include "support/runningbivista.h"

#include "fakecameras.h"
#include "privatenetwork.h"
#include "scene.h"

using fake::Development;
using fake::Rgb;

namespace {

constexpr int kCameras = 4;
constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kTolerance = 2;  // levels, for what is reckoned twice
const char* const kFormats[kCameras] = {"BayerRG8", "Mono8", "RGB8", "BayerGB8"};
constexpr int kMono = 1;

constexpr int kTabsToGain = 9;   // from the tabs of the settings dialog to the slider
constexpr int kGainSteps = 8;    // of 16, which is the factor 1
constexpr double kRaised = 1.5;  // the factor of that

/// The number that a camera has stamped on its tile; of its last rows, if not `first`.
uint32_t stampOf(const QImage& picture, int tile, bool first = true) {
    const QImage frame =
        picture.copy(tile * kWidth, 0, kWidth, kHeight).convertToFormat(QImage::Format_RGB888);
    QByteArray pixels;
    for (int y = 0; y < kHeight; ++y)
        pixels.append(reinterpret_cast<const char*>(frame.constScanLine(y)), 3 * kWidth);
    return fake::readStamp(reinterpret_cast<const uint8_t*>(pixels.constData()), kWidth, 3,
                           first ? 0 : kHeight - fake::kStampHeight);
}

bool isAlike(QRgb found, const Rgb& wanted) {
    return std::abs(qRed(found) - wanted.red) <= kTolerance &&
           std::abs(qGreen(found) - wanted.green) <= kTolerance &&
           std::abs(qBlue(found) - wanted.blue) <= kTolerance;
}

Rgb greyed(const Rgb& colour) {
    const uint8_t grey = fake::greyOf(colour);
    return {grey, grey, grey};
}

/// What a saved picture has to show.
struct Expected {
    bool isColour = true;
    double factorOfFirst = 1;  ///< by which camera 0 is brighter than it was at the start

    Rgb of(int tile, int x, int y) const {
        Development development;
        development.factor = tile == 0 ? factorOfFirst : 1;
        const Rgb light = fake::sceneAt(x, y, static_cast<uint32_t>(tile));
        const Rgb seen = fake::developed(tile == kMono ? greyed(light) : light, development);
        return isColour ? seen : greyed(seen);
    }

    /// The first thing in a tile that is not as expected; empty if there is none.
    QString difference(const QImage& picture, int tile) const {
        if (picture.size() != QSize(kCameras * kWidth, kHeight))
            return QStringLiteral("%1 x %2 px").arg(picture.width()).arg(picture.height());
        if (stampOf(picture, tile) != stampOf(picture, tile, false))
            return QStringLiteral("tile %1 is torn").arg(tile);
        // The squares at the edge have no neighbours, and those above and below carry the stamps.
        for (int y = fake::kSquare + fake::kSquare / 2; y < kHeight - fake::kSquare; y += fake::kSquare) {
            for (int x = fake::kSquare + fake::kSquare / 2; x < kWidth - fake::kSquare; x += fake::kSquare) {
                const Rgb wanted = of(tile, x, y);
                const QRgb found = picture.pixel(tile * kWidth + x, y);
                if (!isAlike(found, wanted)) {
                    return QStringLiteral("tile %1 at %2, %3: %4 instead of %5 %6 %7")
                        .arg(tile)
                        .arg(x)
                        .arg(y)
                        .arg(QString::number(found, 16))
                        .arg(wanted.red)
                        .arg(wanted.green)
                        .arg(wanted.blue);
                }
            }
        }
        return {};
    }

    QString difference(const QImage& picture) const {
        QString first;
        for (int tile = 0; tile < kCameras && first.isEmpty(); ++tile)
            first = difference(picture, tile);
        return first;
    }
};

}  // namespace

class GenicamProgramTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void savesWhatTheCamerasSee_data();
    void savesWhatTheCamerasSee();
    void camerasAreFreeForTheNext();
    void sliderReachesTheCamera();
    void lostCameraComesBackAsItWasSet();
    void secondProgramWaitsForTheCameras();
    void startsAtOnceAfterAKill();

private:
    void prepare(const RunningBivista& bivista, bool isColour = true, const QByteArray& title = {}) const;
    static void start(RunningBivista& bivista);
    static QImage saved(const RunningBivista& bivista);
    static QString settled(const RunningBivista& bivista, const Expected& expected);
    static bool isFresh(const QImage& before, const QImage& after, int tile);
    bool endsInOrder(const RunningBivista& bivista, const QString& title = QStringLiteral("Bivista"));
    void raiseGain();
    bool hasPicture();

    std::unique_ptr<FakeCameras> cameras;
    std::unique_ptr<XServer> server;
};

void GenicamProgramTest::init() {
    cameras = std::make_unique<FakeCameras>(
        kCameras, QStringList{"--width", QString::number(kWidth), "--height", QString::number(kHeight)});
    for (int camera = 0; camera < kCameras; ++camera)
        cameras->setOptions(camera, {"--format", kFormats[camera]});
    QCOMPARE(cameras->start(), QString());
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void GenicamProgramTest::cleanup() {
    server.reset();
    cameras.reset();
}

void GenicamProgramTest::prepare(const RunningBivista& bivista, bool isColour,
                                 const QByteArray& title) const {
    bivista.write("setting.ini", QByteArray("[Camera]\nCamNum=4\n[File]\nType=2\nLang=1\nColor=") +
                                     (isColour ? "1" : "0") + (title.isEmpty() ? "" : "\nTitle=" + title) +
                                     "\n[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\nY0=0\nY1=0\nY2=0\nY3=0\n");
    // A busy machine answers late.
    QCOMPARE(cameras->writeConfiguration(bivista.folder.path(), {"PacketSize=8000"}, {"AnswerWithin=1000"}),
             QString());
}

void GenicamProgramTest::start(RunningBivista& bivista) {
    bivista.start({{"LD_LIBRARY_PATH", QStringLiteral(GENICAM_LIBRARY)}});
}

/// A picture that is taken from now on, by the key; null if there is none.
QImage GenicamProgramTest::saved(const RunningBivista& bivista) {
    const int before = bivista.pictures().size();
    if (!bivista.server.key("ctrl+w") || !bivista.waitForPictures(before + 1))
        return {};
    return bivista.lastPicture();
}

/// Takes pictures until one is as expected; what the last one was like, if none is in time.
QString GenicamProgramTest::settled(const RunningBivista& bivista, const Expected& expected) {
    QString last = QStringLiteral("no picture");
    waitFor([&] {
        const int before = bivista.pictures().size();
        bivista.server.key("ctrl+w");
        // Before there is a tile the key saves nothing; then it is pressed again.
        if (waitFor([&] { return bivista.pictures().size() > before; }, 1000))
            last = expected.difference(bivista.lastPicture());
        return last.isEmpty();
    });
    return last;
}

bool GenicamProgramTest::isFresh(const QImage& before, const QImage& after, int tile) {
    return stampOf(after, tile) > stampOf(before, tile);
}

bool GenicamProgramTest::endsInOrder(const RunningBivista& bivista, const QString& title) {
    return server->closeWindow(server->waitForWindow(title)) && bivista.process->waitForEnd() &&
           bivista.process->exitCode() == 0 && bivista.process->errors().count("exit capture") == kCameras;
}

/// Opens the settings dialog by the menu, and goes to the slider of camera 0, by keys.
void GenicamProgramTest::raiseGain() {
    QVERIFY(server->activate(server->waitForWindow("Bivista")));
    QVERIFY(server->key("alt+t"));
    QVERIFY(waitFor([&] { return server->hasPopup(); }));
    QVERIFY(server->key("Return"));
    const quint32 dialog = server->waitForWindow("Setting");
    QVERIFY(dialog);
    QVERIFY(server->activate(dialog));
    for (int i = 0; i < kTabsToGain; ++i)
        QVERIFY(server->key("Tab"));
    for (int i = 0; i < kGainSteps; ++i)
        QVERIFY(server->key("Right"));
}

/// Whether the middle of the screen is of more than one colour.
bool GenicamProgramTest::hasPicture() {
    const QImage screen = server->screenshot();
    const QPoint middle = screen.rect().center();
    for (int x = -150; x < 150; ++x) {
        if (screen.pixel(middle + QPoint(x, 0)) != screen.pixel(middle))
            return true;
    }
    return false;
}

void GenicamProgramTest::savesWhatTheCamerasSee_data() {
    QTest::addColumn<bool>("isColour");
    QTest::newRow("colour") << true;
    QTest::newRow("grey") << false;
}

void GenicamProgramTest::savesWhatTheCamerasSee() {
    QFETCH(bool, isColour);
    Expected expected;
    expected.isColour = isColour;
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    prepare(bivista, isColour);
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(settled(bivista, expected), QString());
    // All go on, and what is saved then is as true.
    const QImage first = saved(bivista);
    QCOMPARE(expected.difference(first), QString());
    QImage next;
    QVERIFY(waitFor([&] {
        next = saved(bivista);
        return isFresh(first, next, 0) && isFresh(first, next, 1) && isFresh(first, next, 2) &&
               isFresh(first, next, 3);
    }));
    QCOMPARE(expected.difference(next), QString());
    QVERIFY2(endsInOrder(bivista), bivista.process->errors().constData());
    const QByteArray log = bivista.process->errors();
    for (const char* bad : {"camera 0", "camera 1", "camera 2", "camera 3", "No matching signal", "CRITICAL"})
        QVERIFY2(!log.contains(bad), log.constData());
    QVERIFY(bivista.read("setting.ini").contains("Cam3=FAKE0004"));
}

void GenicamProgramTest::camerasAreFreeForTheNext() {
    for (int round = 0; round < 2; ++round) {
        RunningBivista bivista(*server, QStringLiteral(BIVISTA));
        prepare(bivista);
        start(bivista);
        QVERIFY(server->waitForWindow("Bivista"));
        QCOMPARE(settled(bivista, {}), QString());
        QVERIFY2(endsInOrder(bivista), bivista.process->errors().constData());
        const QByteArray log = bivista.process->errors();
        QVERIFY2(!log.contains("is held by another program"), log.constData());
    }
}

void GenicamProgramTest::sliderReachesTheCamera() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    prepare(bivista);
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(settled(bivista, {}), QString());
    raiseGain();
    // The key for a picture is everybody's, with the dialog open too.
    Expected expected;
    expected.factorOfFirst = kRaised;
    QCOMPARE(settled(bivista, expected), QString());
    QVERIFY(server->key("Escape"));
    QVERIFY(server->waitForNoWindow("Setting"));
    QVERIFY2(endsInOrder(bivista), bivista.process->errors().constData());
}

/// The others go on meanwhile, and nobody presses anything.
void GenicamProgramTest::lostCameraComesBackAsItWasSet() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    prepare(bivista);
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(settled(bivista, {}), QString());
    raiseGain();
    Expected expected;
    expected.factorOfFirst = kRaised;
    QCOMPARE(settled(bivista, expected), QString());

    cameras->kill(0);
    const auto hasLine = [&](const char* line) {
        return waitFor([&] { return bivista.process->errors().contains(line); });
    };
    QVERIFY2(hasLine("KVCap2: camera 0 (FAKE0001) has gone"), bivista.process->errors().constData());
    QVERIFY2(hasLine("Camera 0: no picture for"), bivista.process->errors().constData());
    const QImage before = saved(bivista);
    QImage after;
    QVERIFY(waitFor([&] {
        after = saved(bivista);
        return isFresh(before, after, 1) && isFresh(before, after, 2) && isFresh(before, after, 3);
    }));
    QCOMPARE(stampOf(after, 0), stampOf(before, 0));
    QCOMPARE(expected.difference(after), QString());

    QCOMPARE(cameras->start(0), QString());
    QVERIFY2(hasLine("KVCap2: camera 0 (FAKE0001) is back after"), bivista.process->errors().constData());
    // Its numbers begin anew.
    QVERIFY(waitFor([&] { return stampOf(saved(bivista), 0) < stampOf(before, 0); }));
    QCOMPARE(settled(bivista, expected), QString());
    const QByteArray log = bivista.process->errors();
    for (const char* other : {"camera 1", "camera 2", "camera 3", "Camera 1", "Camera 2", "Camera 3"})
        QVERIFY2(!log.contains(other), log.constData());
    QVERIFY2(endsInOrder(bivista), log.constData());
}

/// It shows nothing of them, says why, and gets them when the first one ends.
void GenicamProgramTest::secondProgramWaitsForTheCameras() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    prepare(first);
    start(first);
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(settled(first, {}), QString());
    QVERIFY(waitFor([&] { return hasPicture(); }));

    RunningBivista second(*server, QStringLiteral(BIVISTA));
    prepare(second, true, "Second");
    // It knows them from earlier on, and so they have to be told apart although nobody may open them.
    second.write("setting.ini", second.read("setting.ini") +
                                    "[Camera]\nCam0=FAKE0001\nCam1=FAKE0002\nCam2=FAKE0003\nCam3=FAKE0004\n");
    start(second);
    const quint32 box = server->waitForWindow("Error");  // the key is taken
    QVERIFY(box);
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    const quint32 window = server->waitForWindow("Second");
    QVERIFY2(window, second.process->errors().constData());
    QVERIFY(server->activate(window));
    for (int camera = 0; camera < kCameras; ++camera) {
        const QByteArray line = "KVCap2: camera " + QByteArray::number(camera) + " (" +
                                cameras->serial(camera) + ") is held by another program";
        QVERIFY2(waitFor([&] { return second.process->errors().contains(line); }),
                 second.process->errors().constData());
    }
    QVERIFY(waitFor([&] { return !hasPicture(); }));
    QCOMPARE(settled(first, {}), QString());
    QVERIFY(!hasPicture());

    QVERIFY2(endsInOrder(first), first.process->errors().constData());
    QVERIFY2(waitFor([&] { return hasPicture(); }), second.process->errors().constData());
    QVERIFY2(endsInOrder(second, "Second"), second.process->errors().constData());
}

/// The cameras still count as held by the one that was killed; its settings know them.
void GenicamProgramTest::startsAtOnceAfterAKill() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    prepare(bivista);
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(settled(bivista, {}), QString());
    QVERIFY(bivista.read("setting.ini").contains("Cam3=FAKE0004"));
    bivista.process->kill();
    start(bivista);
    QVERIFY2(server->waitForWindow("Bivista"), bivista.process->errors().constData());
    QCOMPARE(settled(bivista, {}), QString());
    QVERIFY2(endsInOrder(bivista), bivista.process->errors().constData());
}

CAMERA_TEST_MAIN(GenicamProgramTest)
#include "tst_genicamprogram.moc"
