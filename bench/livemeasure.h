// SPDX-License-Identifier: Apache-2.0
/// Measuring of live pictures: what is shown of the frames that cameras deliver, how late, and for how much
/// processor time. GUI thread, but for what is said.
#pragma once

#include <QGraphicsPixmapItem>
#include <QList>
#include <QObject>
#include <QWidget>
#include <atomic>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "calibration/calibration.h"

constexpr int kCameras = 4;
constexpr int kOldestShown = 300;  // ms; an older frame is not shown
const QSize kFrame(2560, 1440);

qint64 now();            ///< ms since the epoch
double processorTime();  ///< s, of this process
/// The tile's own perspective: a few degrees off, as bench_framepath has it.
Calibration calibrationOf(int tile);

/// Sees every painting of a window, from before to after.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(QWidget* window);

    std::function<void()> painted;
    int count = 0;
    double seconds = 0;  ///< spent painting

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isInside = false;
};

class LiveMeasure {
public:
    LiveMeasure() = default;
    virtual ~LiveMeasure() = default;
    LiveMeasure(const LiveMeasure&) = delete;
    LiveMeasure& operator=(const LiveMeasure&) = delete;

    /// The items that show the cameras in `window`; each has its frame's time stamp as
    /// data(kTimestampOfTile).
    void watchTiles(QWidget* window, const QList<QGraphicsPixmapItem*>& items);
    /// A camera has delivered a frame. Any thread.
    void noteDelivered(qint64 timestamp) {
        if (isMeasured(timestamp))
            ++delivered;
    }
    /// Measures for so long, `warmUp` ms after now. `during` is called as soon as the measuring has begun.
    void measure(int seconds, const std::function<void()>& during = {});
    /// Every tile shows a frame that was taken at `time` (ms since the epoch) or later.
    bool isCurrent(qint64 time) const;
    /// Prints what was measured, a line.
    void report(const char* title) const;

    int warmUp = 2000;  ///< ms
    QList<QGraphicsPixmapItem*> tiles;
    std::unique_ptr<PaintWatch> watch;
    double elapsed = 1;  ///< s, of the measuring

private:
    bool isMeasured(qint64 timestamp) const { return timestamp >= measuredFrom && timestamp <= measuredTo; }
    void notePainted();
    int shownFrames() const;
    int leastShown() const;

    std::atomic<int> delivered{0};
    std::map<QGraphicsPixmapItem*, qint64> shownOf;
    std::map<QGraphicsPixmapItem*, int> shown;
    std::vector<qint64> latencies;
    std::atomic<qint64> measuredFrom{std::numeric_limits<qint64>::max()};  // ms since the epoch
    std::atomic<qint64> measuredTo{std::numeric_limits<qint64>::max()};
    double processor = 0;  // s, without the cameras
    double cameras = 0;    // s
    double faultsPerFrame = 0;
};
