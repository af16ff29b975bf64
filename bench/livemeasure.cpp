// SPDX-License-Identifier: Apache-2.0
#include "livemeasure.h"

#include <sys/resource.h>

#include <QtTest>
#include <algorithm>
#include <cstdio>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "cameracost.h"
#include "live/tile.h"

namespace {

constexpr qint64 kNever = std::numeric_limits<qint64>::max();

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

double share(double part, double whole) {
    return whole > 0 ? part / whole * 100 : 0;
}

long long percentile(std::vector<qint64> values, double part) {
    if (values.empty())
        return -1;
    const size_t index = std::min(values.size() - 1, size_t(double(values.size()) * part));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[index];
}

}  // namespace

qint64 now() {
    return QDateTime::currentMSecsSinceEpoch();
}

double processorTime() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

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

PaintWatch::PaintWatch(QWidget* window) {
    window->installEventFilter(this);
}

bool PaintWatch::eventFilter(QObject* watched, QEvent* event) {
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

void LiveMeasure::watchTiles(QWidget* window, const QList<QGraphicsPixmapItem*>& items) {
    tiles = items;
    watch = std::make_unique<PaintWatch>(window);
    watch->painted = [this] { notePainted(); };
}

void LiveMeasure::notePainted() {
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

bool LiveMeasure::isCurrent(qint64 time) const {
    return std::all_of(tiles.begin(), tiles.end(),
                       [&](auto* tile) { return shownOf.count(tile) && shownOf.at(tile) >= time; });
}

int LiveMeasure::shownFrames() const {
    int sum = 0;
    for (const auto& entry : shown)
        sum += entry.second;
    return sum;
}

int LiveMeasure::leastShown() const {
    int least = std::numeric_limits<int>::max();
    for (auto* tile : tiles)
        least = std::min(least, shown.count(tile) ? shown.at(tile) : 0);
    return least;
}

void LiveMeasure::measure(int seconds, const std::function<void()>& during) {
    QTest::qWait(warmUp);
    shown.clear();
    latencies.clear();
    watch->count = 0;
    watch->seconds = 0;
    delivered = 0;
    measuredTo = kNever;
    measuredFrom = now();
    const double processorBefore = processorTime();
    const double camerasBefore = cameraSeconds();
    const qint64 faults = pageFaults();
    QElapsedTimer timer;
    timer.start();
    if (during)
        during();
    QTest::qWait(std::max(1, seconds * 1000 - int(timer.elapsed())));
    measuredTo = now();
    elapsed = double(timer.elapsed()) / 1000;
    cameras = cameraSeconds() - camerasBefore;
    processor = processorTime() - processorBefore - cameras;
    faultsPerFrame = double(pageFaults() - faults) / std::max(1, int(delivered));
    const int paints = watch->count;
    const double painting = watch->seconds;
    QTest::qWait(kOldestShown);  // the last ones are still on their way
    watch->count = paints;
    watch->seconds = painting;
}

void LiveMeasure::report(const char* title) const {
    std::printf(
        "%-46s delivered %6d  shown %5.1f %% (least %5.1f/s)  paints %5.1f/s of %4.1f ms  latency p50 %3lld "
        "p95 %3lld max %4lld ms  processor %5.1f %% (%.2f ms a frame) + cameras %4.1f %%  memory %4lld MB, "
        "at "
        "most %4lld  faults/frame %.0f\n",
        title, int(delivered), share(shownFrames(), delivered), leastShown() / elapsed,
        watch->count / elapsed, watch->seconds / std::max(1, watch->count) * 1000, percentile(latencies, 0.5),
        percentile(latencies, 0.95), percentile(latencies, 1), share(processor, elapsed),
        processor / std::max(1, shownFrames()) * 1000, share(cameras, elapsed),
        static_cast<long long>(memory("VmRSS:")), static_cast<long long>(memory("VmHWM:")), faultsPerFrame);
    std::fflush(stdout);
}
