// The whole way of the frames, live: the real window on an X server of its own, the simulated camera library,
// four grey cameras of 2560 x 1440 px with the correction on.
//
//   bench_live                        all cases, a process each
//   bench_live --quick                each for a moment only, to see that they run
//   bench_live --case NAME SECONDS    one of them, on whatever display there is
//
// "shown" are frames that were painted, of those that the cameras delivered, both by their time stamps;
// "latency" is from a frame's time stamp to the end of the painting that shows it; a tile is "current" after
// a block when it shows a frame that was taken after it. A processor is one core: 200 % are two.

#include <QApplication>
#include <QCursor>
#include <QGraphicsPixmapItem>
#include <QProcess>
#include <QSlider>
#include <QTimer>
#include <atomic>
#include <cstdio>
#include <limits>
#include <map>
#include <opencv2/imgproc.hpp>
#include <sys/resource.h>
#include <thread>

#include "calibration/calibrationfile.h"
#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "support/mainwindowtest.h"
#include "live/tile.h"
#include "support/xserver.h"

namespace {

constexpr int kCameras = 4;
constexpr int kOldest = 300;  // ms; an older frame is not shown
constexpr qint64 kNever = std::numeric_limits<qint64>::max();
int warmUp = 2000;  // ms

const QSize kFrame(2560, 1440);

struct Case {
    const char* name;
    const char* title;
    int rate;  // frames a second of each camera
};

const Case kCases[] = {
    {"start", "start", 30},
    {"plain30", "30 frames a second, not corrected", 30},
    {"live15", "15 frames a second", 15},
    {"live30", "30 frames a second", 30},
    {"live60", "60 frames a second", 60},
    {"live120", "120 frames a second", 120},
    {"live240", "240 frames a second", 240},
    {"colour30", "30 frames a second in colour", 30},
    {"frozen120", "120 frames a second, display frozen", 120},
    {"block30", "30 frames a second, blocked for 2 s", 30},
    {"block120", "120 frames a second, blocked for 2 s", 120},
    {"slider30", "30 frames a second, a slider dragged", 30},
    {"mark30", "30 frames a second, a mark dragged", 30},
    {"pixels", "every shown frame compared with the plain way", 4},
};

qint64 now() {
    return QDateTime::currentMSecsSinceEpoch();
}

double processorTime() {  // s
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

qint64 pageFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

qint64 memory(const char* line) {  // MB
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& text : lines) {
        if (text.startsWith(line))
            return text.mid(int(qstrlen(line))).trimmed().split(' ').first().toLongLong() / 1024;
    }
    return 0;
}

/// The tile's own perspective: a few degrees off, as bench_framepath has it.
Calibration calibrationOf(int tile) {
    const auto dx = float(tile % 2 == 0 ? 80 : 240);
    const auto dy = float(tile / 2 == 0 ? 70 : 140);
    const cv::Point2f src[4] = {{dx, dy}, {dx + 2200, dy - 20}, {dx - 30, dy + 1230}, {dx + 2250, dy + 1210}};
    const cv::Point2f dst[4] = {{dx, dy}, {dx + 2240, dy}, {dx, dy + 1230}, {dx + 2240, dy + 1230}};
    Calibration calibration;
    calibration.transform = cv::getPerspectiveTransform(src, dst);
    calibration.cornerSrc = cv::Mat(4, 2, CV_32F, const_cast<cv::Point2f*>(src)).clone();
    calibration.cornerDst = cv::Mat(4, 2, CV_32F, const_cast<cv::Point2f*>(dst)).clone();
    return calibration;
}

/// Sees every painting of the window, from before to after.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(WindowUnderTest& windowToWatch) : window(windowToWatch) {
        window.get()->installEventFilter(this);
    }

    std::function<void()> painted;
    int count = 0;
    double seconds = 0;  // spent painting

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::UpdateRequest || isInside)
            return QObject::eventFilter(watched, event);
        isInside = true;
        QElapsedTimer timer;
        timer.start();
        QCoreApplication::sendEvent(watched, event);
        seconds += double(timer.nsecsElapsed()) / 1e9;
        isInside = false;
        ++count;
        if (painted)
            painted();
        return true;
    }

private:
    WindowUnderTest& window;
    bool isInside = false;
};

double share(double part, double whole) {
    return whole > 0 ? part / whole * 100 : 0;
}

qint64 percentile(std::vector<qint64> values, double part) {
    if (values.empty())
        return -1;
    const size_t index = std::min(values.size() - 1, size_t(double(values.size()) * part));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[index];
}

/// What fetching the frames alone costs, in processors: as the capture threads do it, and thrown away.
double simulatorShare(int seconds, int32_t format) {
    for (int i = 0; i < kCameras; ++i) {
        CameraInit(i);
        CameraSetExposure(i, 100);
    }
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kCameras; ++i) {
        threads.emplace_back([&, i] {
            while (!isOver) {
                int32_t length = 0;
                CameraGetImageBufferSize(i, &length, format);
                const std::unique_ptr<unsigned char[]> block(new unsigned char[size_t(length)]);
                CameraQueryImage(i, block.get(), &length, format);
            }
        });
    }
    QThread::msleep(warmUp);
    const double before = processorTime();
    QThread::sleep(static_cast<unsigned long>(seconds));
    const double used = processorTime() - before;
    isOver = true;
    for (auto& thread : threads)
        thread.join();
    for (int i = 0; i < kCameras; ++i)
        CameraFree(i);
    return used / seconds * 100;
}

class Live {
public:
    explicit Live(const QByteArray& caseName) : name(caseName) {}

    bool start() {
        const bool isCorrected = name != "plain30";
        if (!WorkingFolder::write(
                QStringLiteral("setting.ini"),
                "[Camera]\nCamNum=4\nMode=0\n[File]\nLang=1\nType=1\nTrans=" +
                    QByteArray(isCorrected ? "1" : "0") + (name == "frozen120" ? "\nFreezeImage=true" : "") +
                    (name == "colour30" ? "\nColor=1" : "") +
                    "\n[Pos]\nX1=2320\nY2=1300\nX3=2320\nY3=1300\nX0=0\nY0=0\nX2=0\nY1=0\n"))
            return false;
        std::vector<Calibration> calibrations;
        for (int i = 0; i < kCameras; ++i)
            calibrations.push_back(calibrationOf(i));
        if (!writeCalibrations(calibrations).isEmpty())
            return false;
        window.start();
        if (!window.waitForTiles(kCameras))
            return false;
        tiles = window.tiles();
        for (int i = 0; i < kCameras; ++i)
            CameraSetExposure(i, 100);  // 1 ms; the default one takes longer than fast cameras have
        const auto threads = window.get()->findChildren<CaptureThread*>();
        for (CaptureThread* thread : threads) {
            QObject::connect(
                thread, &CaptureThread::captured, thread,
                [this](int, const QImage&, const unsigned char*, quint64 timestamp) {
                    if (isMeasured(qint64(timestamp)))
                        ++delivered;
                },
                Qt::DirectConnection);
        }
        watch = std::make_unique<PaintWatch>(window);
        watch->painted = [this] { notePainted(); };
        return true;
    }

    void notePainted() {
        for (auto* tile : qAsConst(tiles)) {
            const qint64 timestamp = tile->data(kTimestampOfTile).toLongLong();
            qint64& last = shownOf[tile];
            if (timestamp == last)
                continue;
            last = timestamp;
            if (!isMeasured(timestamp))
                continue;
            ++shown[tile];
            latencies.push_back(now() - timestamp);
        }
    }

    bool isMeasured(qint64 timestamp) const { return timestamp >= measuredFrom && timestamp <= measuredTo; }

    /// Every tile shows a frame that was taken at `time` or later.
    bool isCurrent(qint64 time) const {
        return std::all_of(tiles.begin(), tiles.end(),
                           [&](auto* tile) { return shownOf.count(tile) && shownOf.at(tile) >= time; });
    }

    int shownFrames() const {
        int sum = 0;
        for (const auto& entry : shown)
            sum += entry.second;
        return sum;
    }

    int leastShown() const {
        int least = std::numeric_limits<int>::max();
        for (auto* tile : tiles)
            least = std::min(least, shown.count(tile) ? shown.at(tile) : 0);
        return least;
    }

    void measure(int seconds, const std::function<void()>& during = {}) {
        QTest::qWait(warmUp);
        shown.clear();
        latencies.clear();
        watch->count = 0;
        watch->seconds = 0;
        delivered = 0;
        measuredTo = kNever;
        measuredFrom = now();
        const double processor = processorTime();
        const qint64 faults = pageFaults();
        QElapsedTimer timer;
        timer.start();
        if (during)
            during();
        QTest::qWait(std::max(1, seconds * 1000 - int(timer.elapsed())));
        measuredTo = now();
        elapsed = double(timer.elapsed()) / 1000;
        processorShare = (processorTime() - processor) / elapsed * 100;
        faultsPerFrame = double(pageFaults() - faults) / std::max(1, int(delivered));
        const int paints = watch->count;
        const double painting = watch->seconds;
        QTest::qWait(kOldest);  // the last ones are still on their way
        watch->count = paints;
        watch->seconds = painting;
    }

    /// Time of a painting, s, of a window that does nothing but draw the tiles' pixmaps, as large as the view
    /// and in the same places; median.
    double drawingAlone() const {
        class Pictures : public QWidget {
        public:
            QTransform transform;
            QVector<QPair<QPointF, QPixmap>> pixmaps;
            double seconds = 0;

        protected:
            void paintEvent(QPaintEvent*) override {
                QPainter painter(this);
                painter.setTransform(transform);
                for (const auto& entry : qAsConst(pixmaps))
                    painter.drawPixmap(entry.first, entry.second);
            }
            bool event(QEvent* event) override {
                QElapsedTimer timer;
                timer.start();
                const bool handled = QWidget::event(event);
                if (event->type() == QEvent::UpdateRequest)
                    seconds = double(timer.nsecsElapsed()) / 1e9;
                return handled;
            }
        } pictures;
        const QGraphicsView* view = window.view();
        pictures.transform = view->viewportTransform();
        for (const auto* tile : tiles)
            pictures.pixmaps.append({tile->pos(), tile->pixmap()});
        pictures.resize(view->viewport()->size());
        pictures.show();
        (void)QTest::qWaitForWindowExposed(&pictures);
        std::vector<double> times;
        for (int i = 0; i < 50; ++i) {
            pictures.seconds = 0;
            pictures.update();
            (void)QTest::qWaitFor([&] { return pictures.seconds > 0; }, kWait);
            times.push_back(pictures.seconds);
        }
        std::nth_element(times.begin(), times.begin() + 25, times.end());
        return times[25];
    }

    /// The same of the view itself, while no frames come.
    double paintingAlone() {
        std::vector<double> times;
        for (int i = 0; i < 50; ++i) {
            const int before = watch->count;
            watch->seconds = 0;
            window.view()->viewport()->update();
            (void)QTest::qWaitFor([&] { return watch->count > before; }, kWait);
            times.push_back(watch->seconds);
        }
        std::nth_element(times.begin(), times.begin() + 25, times.end());
        return times[25];
    }

    void report(const char* title, double simulator) {
        std::printf(
            "%-46s delivered %6d  shown %5.1f %% (least %5.1f/s)  paints %5.1f/s of %4.1f ms  latency p50 "
            "%3lld "
            "p95 %3lld max %4lld ms  processor %3.0f %% + cameras %2.0f %%  memory %4lld MB, at most %4lld  "
            "faults/frame %.0f\n",
            title, int(delivered), share(shownFrames(), delivered), leastShown() / elapsed,
            watch->count / elapsed, watch->seconds / std::max(1, watch->count) * 1000,
            static_cast<long long>(percentile(latencies, 0.5)),
            static_cast<long long>(percentile(latencies, 0.95)),
            static_cast<long long>(percentile(latencies, 1)), processorShare - simulator, simulator,
            static_cast<long long>(memory("VmRSS:")), static_cast<long long>(memory("VmHWM:")),
            faultsPerFrame);
    }

    QByteArray name;
    WindowUnderTest window;
    QList<QGraphicsPixmapItem*> tiles;
    std::unique_ptr<PaintWatch> watch;
    std::atomic<int> delivered{0};
    std::map<QGraphicsPixmapItem*, qint64> shownOf;
    std::map<QGraphicsPixmapItem*, int> shown;
    std::vector<qint64> latencies;
    std::atomic<qint64> measuredFrom{kNever};  // ms since the epoch
    std::atomic<qint64> measuredTo{kNever};
    double elapsed = 1;
    double processorShare = 0;
    double faultsPerFrame = 0;
};

/// Every picture that is shown, pixel by pixel, with what the plain way makes of the same frame.
int comparePixels(Live& live, int seconds) {
    Correction correction;
    for (int i = 0; i < kCameras; ++i)
        correction.take(i, calibrationOf(i), kFrame);
    QMutex mutex;
    std::map<std::pair<int, quint64>, QImage> frames;
    std::map<QGraphicsPixmapItem*, int> indexOf;
    const auto threads = live.window.get()->findChildren<CaptureThread*>();
    for (CaptureThread* thread : threads) {
        QObject::connect(
            thread, &CaptureThread::captured, thread,
            [&](int id, const QImage& image, const unsigned char*, quint64 timestamp) {
                const QMutexLocker lock(&mutex);
                frames[{id, timestamp}] = image.copy();
            },
            Qt::DirectConnection);
    }
    const QPointF places[kCameras] = {{0, 0}, {2320, 0}, {0, 1300}, {2320, 1300}};
    for (auto* tile : qAsConst(live.tiles)) {
        for (int i = 0; i < kCameras; ++i) {
            if (tile->pos() == places[i])
                indexOf[tile] = i;
        }
    }
    int compared = 0;
    int different = 0;
    std::map<QGraphicsPixmapItem*, quint64> last;
    live.watch->painted = [&] {
        for (auto* tile : qAsConst(live.tiles)) {
            const quint64 timestamp = tile->data(kTimestampOfTile).toULongLong();
            const int id = indexOf[tile];
            QImage frame;
            {
                const QMutexLocker lock(&mutex);
                const auto found = frames.find({id, timestamp});
                if (last[tile] == timestamp || found == frames.end())
                    continue;
                frame = found->second;
                // What is older is of no use any more.
                frames.erase(frames.lower_bound({id, 0}), std::next(found));
            }
            last[tile] = timestamp;
            ++compared;
            const QImage wanted =
                QPixmap::fromImage(correctedPicture(frame, correction, id, kCameras, 0)).toImage();
            if (tile->pixmap().toImage() != wanted)
                ++different;
        }
    };
    QTest::qWait(std::max(3, seconds) * 1000);
    live.watch->painted = {};
    live.window.end();
    std::printf("%-46s compared %d, different %d\n", "every shown frame beside the plain way", compared,
                different);
    return compared > 0 && different == 0 ? 0 : 1;
}

void block() {
    QThread::msleep(2000);
}

int runCase(const QByteArray& name, int seconds) {
    const auto* found = std::find_if(std::begin(kCases), std::end(kCases),
                                     [&](const Case& entry) { return name == entry.name; });
    if (found == std::end(kCases))
        return 2;
    warmUp = seconds > 1 ? 2000 : 300;
    if (name == "start") {
        Live live(name);
        const qint64 begun = now();
        if (!live.start())
            return 1;
        const qint64 processBegun = qEnvironmentVariable("BENCH_BEGUN", QString::number(begun)).toLongLong();
        std::printf(
            "%-46s first pictures of all tiles %lld ms after the process began, %lld ms after the "
            "window did\n",
            found->title, static_cast<long long>(now() - processBegun),
            static_cast<long long>(now() - begun));
        return 0;
    }
    const double simulator =
        seconds > 1 ? simulatorShare(seconds / 2, name == "colour30" ? kFormatRgb24 : kFormatMono8) : 0.0;
    Live live(name);
    if (!live.start())
        return 1;
    if (name == "pixels")
        return comparePixels(live, seconds);
    if (name.startsWith("block")) {
        qint64 current = -1;
        live.measure(seconds, [&] {
            block();
            const qint64 free = now();
            if (QTest::qWaitFor([&] { return live.isCurrent(free); }, kWait))
                current = now() - free;
        });
        live.report(found->title, simulator);
        std::printf("%-46s all tiles current %lld ms after the block\n", "", static_cast<long long>(current));
        return current >= 0 ? 0 : 1;
    }
    if (name == "slider30") {
        live.window.action("action_Setting")->trigger();
        QWidget* dialog = live.window.get()->findChild<QDialog*>(QStringLiteral("SettingDialog"));
        auto* slider = dialog ? dialog->findChild<QSlider*>() : nullptr;
        if (!slider)
            return 1;
        QTimer drag;
        int moved = 0;
        drag.callOnTimeout([&] {
            const int range = slider->maximum() - slider->minimum();
            ++moved;
            slider->setValue(slider->minimum() + moved * 7 % std::max(1, range));
        });
        drag.start(10);
        live.measure(seconds);
        live.report(found->title, simulator);
        std::printf("%-46s slider moved %.1f times a second\n", "", moved / live.elapsed);
        return 0;
    }
    if (name == "mark30") {
        WorkingFolder::write(QStringLiteral("mark0.txt"), "Line #ff0000 1 0 | 500 500 3500 1500\r\n");
        live.window.action("actionLoad_Corner")->trigger();
        QGraphicsItem* mark = nullptr;
        const auto items = live.window.view()->scene()->items();
        for (QGraphicsItem* item : items) {
            if (!qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                mark = item;
        }
        if (!mark)
            return 1;
        QTimer drag;
        int moved = 0;
        drag.callOnTimeout([&] {
            ++moved;
            mark->setPos(moved % 300, moved % 200);
        });
        drag.start(10);
        live.measure(seconds);
        live.report(found->title, simulator);
        std::printf("%-46s mark moved %.1f times a second\n", "", moved / live.elapsed);
        return 0;
    }
    live.measure(seconds);
    live.report(found->title, simulator);
    if (name == "live30") {
        live.window.action("action_Stop")->trigger();
        QTest::qWait(300);  // the last frames are through
        const double view = live.paintingAlone();
        const double pixmaps = live.drawingAlone();
        std::printf(
            "%-46s painting the whole view %.1f ms, a window of nothing but the four pixmaps %.1f ms\n", "",
            view * 1000, pixmaps * 1000);
    }
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 4 && qstrcmp(argv[1], "--case") == 0) {
        QApplication application(argc, argv);
        return runCase(argv[2], QByteArray(argv[3]).toInt());
    }
    const QCoreApplication application(argc, argv);
    const bool isQuick = QCoreApplication::arguments().contains(QStringLiteral("--quick"));
    XServer server;
    if (!server.start()) {
        qCritical("%s", qPrintable(server.errorString()));
        return 1;
    }
    const QTemporaryDir folder;
    int result = 0;
    for (const Case& entry : kCases) {
        QFile configuration(folder.filePath(QStringLiteral("kvcap2.ini")));
        if (!configuration.open(QIODevice::WriteOnly))
            return 1;
        configuration.write("[Library]\nCount=4\nArrangement=grid\n[Camera]\nModes=2560x1440\nRate=" +
                            QByteArray::number(entry.rate) + "\n");
        configuration.close();
        QProcessEnvironment environment = server.environment();
        environment.insert(QStringLiteral("KVCAP2_CONFIG"), configuration.fileName());
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=false"));
        environment.insert(QStringLiteral("BENCH_BEGUN"), QString::number(now()));
        ChildProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.setProcessEnvironment(environment);
        child.start(
            QCoreApplication::applicationFilePath(),
            {QStringLiteral("--case"), QString::fromLatin1(entry.name), QString::number(isQuick ? 1 : 10)});
        child.waitForFinished(-1);
        if (child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0) {
            qCritical("%s failed", entry.name);
            result = 1;
        }
    }
    return result;
}
