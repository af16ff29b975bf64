// SPDX-License-Identifier: Apache-2.0
// GenICam cameras: four of 1280 x 1024 px and 25 frames a second, each a process of its own on this machine,
// by Aravis alone, by the camera library, and in the real window on an X server of its own.
//
//   bench_genicam                        all ways, a process each
//   bench_genicam --quick                each for two seconds
//   bench_genicam --case NAME SECONDS    one of them, on whatever display and with whatever cameras there are
//
// Each frame carries its number and the time of its exposure. "Sent" are the numbers from the first to the
// last one that came; "shown" are frames that came, or in the window those that were painted; latency is from
// the exposure to there. The least is that of the worst camera. A processor is one core; what the cameras
// themselves take, which are programs here, is not in it.

#include <QApplication>
#include <QGraphicsPixmapItem>
#include <QProcess>
#include <QRegularExpression>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <sys/resource.h>
#include <thread>

#include "barestream.h"
#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "fakecameras.h"
#include "live/tile.h"
#include "privatenetwork.h"
#include "scene.h"
#include "support/mainwindowtest.h"
#include "support/xserver.h"

namespace {

constexpr int kCameras = 4;
constexpr int kWidth = 1280;
constexpr int kHeight = 1024;
constexpr int kRate = 25;
constexpr int kPacket = 8000;           // bytes
constexpr int kSocketBuffer = 8 << 20;  // bytes
constexpr int kWarmUp = 1000;           // ms

struct Case {
    const char* name;
    const char* title;
};
const Case kCases[] = {{"aravis", "Aravis alone"}, {"library", "the library"}, {"window", "the window"}};

double processorTime() {  // s
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Frames that the library tells to have left out.
std::atomic<int> incompleteTold{0};

void readLog(QtMsgType, const QMessageLogContext&, const QString& line) {
    static const QRegularExpression pattern(QStringLiteral("(\\d+) frames were incomplete"));
    const auto found = pattern.match(line);
    if (found.hasMatch())
        incompleteTold += found.captured(1).toInt();
    if (line.startsWith(QLatin1String("KVCap2:")))
        std::fprintf(stderr, "%s\n", qPrintable(line));
}

/// What came of each camera, by the frames' stamps. Thread-safe.
class Arrivals {
public:
    void begin() {
        const std::lock_guard<std::mutex> lock(mutex);
        isCounting = true;
    }

    void end() {
        const std::lock_guard<std::mutex> lock(mutex);
        isCounting = false;
    }

    void add(int camera, uint32_t number, uint32_t exposedAt) {
        const int latency = int(fake::steadyTime() - exposedAt);
        const std::lock_guard<std::mutex> lock(mutex);
        Stream& stream = streams[camera];
        if (!isCounting || (stream.count > 0 && stream.last == number))
            return;
        if (stream.count++ == 0)
            stream.first = number;
        stream.last = number;
        latencies.push_back(latency);
    }

    /// Rows of packed pixels of one or three bytes.
    void add(int camera, const uint8_t* pixels, int width, int height, int channels) {
        add(camera, fake::readStamp(pixels, width, channels, 0),
            fake::readStamp(pixels, width, channels, height - fake::kStampHeight));
    }

    void report(const char* title, int incomplete, double processor, double seconds) {
        int sent = 0;
        int came = 0;
        int least = std::numeric_limits<int>::max();
        for (const Stream& stream : streams) {
            sent += stream.count > 0 ? int(stream.last - stream.first) + 1 : 0;
            came += stream.count;
            least = std::min(least, stream.count);
        }
        std::sort(latencies.begin(), latencies.end());
        const auto latency = [&](double part) {
            return latencies.empty() ? -1 : latencies[size_t(double(latencies.size() - 1) * part)];
        };
        std::printf(
            "%-14s sent %5d  shown %5.1f %% (least %4.1f/s)  incomplete %d  latency p50 %3d p95 %3d max %3d "
            "ms  processor %5.1f %%\n",
            title, sent, sent > 0 ? 100.0 * came / sent : 0.0, least / seconds, incomplete, latency(0.5),
            latency(0.95), latency(1), 100 * processor / seconds);
    }

private:
    struct Stream {
        uint32_t first = 0;
        uint32_t last = 0;
        int count = 0;
    };
    std::mutex mutex;
    bool isCounting = false;
    Stream streams[kCameras];
    std::vector<int> latencies;
};

/// Runs for the time, and says what the process has used of the processor meanwhile, s. Its windows go on.
double measure(Arrivals& arrivals, int seconds) {
    QTest::qWait(kWarmUp);
    const double before = processorTime();
    arrivals.begin();
    QTest::qWait(1000 * seconds);
    arrivals.end();
    return processorTime() - before;
}

int runAravis(const char* title, int seconds) {
    const QList<QByteArray> addresses = qgetenv("BENCH_ADDRESSES").split(',');
    std::vector<const char*> texts;
    for (const QByteArray& address : addresses)
        texts.push_back(address.constData());
    Arrivals arrivals;
    const BareStreams streams(texts, kPacket, kSocketBuffer,
                              [&](int camera, const uint8_t* pixels, int width, int height) {
                                  arrivals.add(camera, pixels, width, height, 1);
                              });
    if (!streams.areRunning())
        return 1;
    const double used = measure(arrivals, seconds);
    arrivals.report(title, streams.incomplete(), used, seconds);
    return 0;
}

/// As the capture threads fetch frames, in colour, and thrown away.
int runLibrary(const char* title, int seconds) {
    int32_t count = 0;
    if (CameraGetCount(&count) != 0 || count != kCameras)
        return 1;
    Arrivals arrivals;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kCameras; ++i) {
        CameraInit(i);
        CameraSetTimeout(i, 500);
        threads.emplace_back([&, i] {
            while (!isOver) {
                int32_t length = 0;
                int32_t width = 0;
                int32_t height = 0;
                CameraGetImageSize(i, &width, &height);
                CameraGetImageBufferSize(i, &length, kFormatRgb24);
                const std::unique_ptr<unsigned char[]> block(new unsigned char[size_t(length)]);
                if (CameraQueryImage(i, block.get(), &length, kFormatRgb24) == 0)
                    arrivals.add(i, block.get(), width, height, 3);
            }
        });
    }
    const double used = measure(arrivals, seconds);
    isOver = true;
    for (auto& thread : threads)
        thread.join();
    for (int i = 0; i < kCameras; ++i)
        CameraFree(i);
    arrivals.report(title, incompleteTold, used, seconds);
    return 0;
}

uint32_t readStamp(const QImage& picture, int row) {
    const QImage stamp =
        picture.copy(0, row, picture.width(), fake::kStampHeight).convertToFormat(QImage::Format_Grayscale8);
    // A width that is a multiple of four has no bytes between its rows.
    return fake::readStamp(stamp.constBits(), stamp.width(), 1, 0);
}

int runWindow(const char* title, int seconds) {
    WindowUnderTest window;
    if (!WorkingFolder::write(QStringLiteral("setting.ini"),
                              "[Camera]\nCamNum=4\n[File]\nLang=1\nColor=1\nTrans=0\n"
                              "[Pos]\nX0=0\nX1=1280\nX2=0\nX3=1280\nY0=0\nY1=0\nY2=1024\nY3=1024\n"))
        return 1;
    window.start();
    if (!window.waitForTiles(kCameras))
        return 1;
    Arrivals arrivals;
    // Painted is what the tiles show after the window has drawn itself.
    class PaintWatch : public QObject {
    public:
        std::function<void()> painted;

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override {
            if (event->type() != QEvent::UpdateRequest || isInside)
                return QObject::eventFilter(watched, event);
            isInside = true;
            QCoreApplication::sendEvent(watched, event);
            isInside = false;
            painted();
            return true;
        }

    private:
        bool isInside = false;
    } watch;
    std::map<QGraphicsPixmapItem*, quint64> shownOf;
    const auto tiles = window.tiles();
    watch.painted = [&] {
        for (auto* tile : tiles) {
            const quint64 timestamp = tile->data(kTimestampOfTile).toULongLong();
            if (std::exchange(shownOf[tile], timestamp) == timestamp)
                continue;
            const QImage picture = tile->pixmap().toImage();
            const int camera = (tile->x() > 0 ? 1 : 0) + (tile->y() > 0 ? 2 : 0);
            arrivals.add(camera, readStamp(picture, 0),
                         readStamp(picture, picture.height() - fake::kStampHeight));
        }
    };
    window.get()->installEventFilter(&watch);
    const double used = measure(arrivals, seconds);
    window.get()->removeEventFilter(&watch);
    window.end();
    arrivals.report(title, incompleteTold, used, seconds);
    return 0;
}

int runCase(const QByteArray& name, int seconds) {
    qInstallMessageHandler(readLog);
    if (name == kCases[0].name)
        return runAravis(kCases[0].title, seconds);
    if (name == kCases[1].name)
        return runLibrary(kCases[1].title, seconds);
    return runWindow(kCases[2].title, seconds);
}

/// A case in a process of its own: its line, which is empty if it fails.
QByteArray run(const Case& entry, int seconds, const QProcessEnvironment& environment) {
    ChildProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--case"), QString::fromLatin1(entry.name), QString::number(seconds)});
    child.waitForFinished(-1);
    const QByteArray line = child.readAllStandardOutput();
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
    return child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0 ? line : QByteArray();
}

double processorOf(const QByteArray& line) {
    const QList<QByteArray> words = line.simplified().split(' ');
    return words.value(words.indexOf("processor") + 1).toDouble();
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 4 && qstrcmp(argv[1], "--case") == 0) {
        const QApplication application(argc, argv);
        return runCase(argv[2], QByteArray(argv[3]).toInt());
    }
    const QString network = enterPrivateNetwork();
    const QCoreApplication application(argc, argv);
    if (!network.isEmpty())
        qWarning("no network of its own: %s", qPrintable(network));
    const int seconds = QCoreApplication::arguments().contains(QStringLiteral("--quick")) ? 2 : 10;
    XServer server;
    if (!server.start()) {
        qCritical("%s", qPrintable(server.errorString()));
        return 1;
    }
    FakeCameras cameras(kCameras, {"--width", QString::number(kWidth), "--height", QString::number(kHeight),
                                   "--rate", QString::number(kRate), "--format", "BayerRG8", "--stamp-time"});
    QString problem = cameras.start();
    const QTemporaryDir folder;
    if (problem.isEmpty())
        problem =
            cameras.writeConfiguration(folder.path(), {QStringLiteral("PacketSize=%1").arg(kPacket),
                                                       QStringLiteral("SocketBuffer=%1").arg(kSocketBuffer)});
    if (!problem.isEmpty()) {
        qCritical("%s", qPrintable(problem));
        return 1;
    }
    QStringList addresses;
    for (int i = 0; i < kCameras; ++i)
        addresses.append(cameras.address(i));
    QProcessEnvironment environment = server.environment();
    environment.insert(QStringLiteral("KVCAP2_GENICAM_CONFIG"), folder.filePath("kvcap2-genicam.ini"));
    environment.insert(QStringLiteral("BENCH_ADDRESSES"), addresses.join(','));
    QList<double> used;
    for (const Case& entry : kCases) {
        const QByteArray line = run(entry, seconds, environment);
        if (line.isEmpty()) {
            qCritical("%s failed", entry.name);
            return 1;
        }
        used.append(processorOf(line));
    }
    std::printf("%-14s processor %.2f x Aravis alone, the window %.2f x the library\n", "the library",
                used[1] / used[0], used[2] / used[1]);
    return 0;
}
