// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDeadlineTimer>
#include <atomic>

#include "live/framerate.h"
#include "live/tile.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

constexpr int kCameraGrey = 40;  // of the frames of the recording library's first camera
constexpr int kOtherGrey = 200;
constexpr int kAttempts = 20;  // until a busy machine leaves a frame young

inline quint64 now() {
    return static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
}

/// Waits without handling events: the GUI thread is blocked.
template <typename Condition>
inline bool waitBlocked(Condition condition) {
    const QDeadlineTimer limit(kWait);
    while (!condition()) {
        if (limit.hasExpired())
            return false;
        QThread::msleep(1);
    }
    return true;
}

/// A window with one camera, whose frames come when the test wants them: its queries are held until then.
class Stream : public QObject {
public:
    explicit Stream(QSize size = {64, 48}) {
        camera.serial = "SN0";
        camera.width = size.width();
        camera.height = size.height();
        camera.holdQueries = true;
        recording::reset({camera});
        WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\nType=2\n");
        window.start();
        thread = window->findChild<CaptureThread*>();
        // After the window's own, for the same frame.
        connect(thread, &CaptureThread::captured, this, [this] {
            ++delivered;
            note();
        });
        // The last of the connections, called by the capture thread: what it counts is in the queue.
        connect(
            thread, &CaptureThread::captured, this,
            [this](int, const QImage&, const unsigned char* buffer, quint64 timestamp) {
                newestBuffer = buffer;
                newest = timestamp;
                ++sent;
            },
            Qt::DirectConnection);
        window.view()->viewport()->installEventFilter(this);
        // Rates are updated when the test says so.
        const auto timers = window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
        for (QTimer* timer : timers)
            timer->stop();
    }

    ~Stream() override {
        recording::releaseQueries();
        window.end();
    }

    /// The tile is there, with a frame of the camera; the next is not there before the test wants it.
    bool start() {
        return QTest::qWaitFor([&] { return window->isMaximized() && recording::queriesUnderWay() == 1; },
                               kWait) &&
               QTest::qWaitFor([&] { return !window.tiles().isEmpty() || !sendOne(); }, kWait) &&
               window.waitForTiles(1) && settle();
    }

    /// Lets the camera send, a frame every `delay` ms or less often.
    void flow(int delay) {
        camera.queryDelay = delay;
        camera.holdQueries = false;
        recording::setCamera(0, camera);
    }

    /// Lets no more frames come. When it is over, those that came are in the queue.
    bool hold() {
        camera.holdQueries = true;
        recording::setCamera(0, camera);
        return waitBlocked([] { return recording::queriesUnderWay() == 1; });
    }

    /// Exactly one frame more into the queue, without handling events.
    bool sendOne() {
        const int before = sent;
        thread->pauseCapturing();
        flow(1);
        if (!waitBlocked([&] { return sent == before + 1; }))
            return false;
        camera.holdQueries = true;
        recording::setCamera(0, camera);
        thread->startCapturing();
        return waitBlocked([] { return recording::queriesUnderWay() == 1; });
    }

    /// While a picture of another grey is shown, a frame of the camera is delivered and waits; then `act`
    /// does something. All done again as long as the frame was too old for being shown when it was over.
    template <typename Act>
    bool withWaitingFrame(Act act) {
        for (int i = 0; i < kAttempts; ++i) {
            if (!settle())
                return false;
            window.sendFrame(0, kOtherGrey);
            if (!sendOne())
                return false;
            QCoreApplication::sendPostedEvents();  // no timers
            act();
            if (!isStale(now(), newest))
                return true;
        }
        return false;
    }

    /// Nothing changes any more for longer than a picture waits to be painted. Absence of a change has no
    /// signal to wait for.
    bool settle() const {
        const auto stands = [&] {
            const quint64 before = shown();
            QTest::qWait(100);
            return before == shown();
        };
        return QTest::qWaitFor(stands, kWait);
    }

    /// Time stamp of the frame that the tile shows.
    quint64 shown() const {
        const auto tiles = window.tiles();
        return tiles.isEmpty() ? 0 : tiles.first()->data(kTimestampOfTile).toULongLong();
    }
    int grey() const { return WindowUnderTest::greyOf(window.tiles().first()); }

    /// Sends a frame in the thread's name, on the GUI thread.
    void emitByHand(int grey) const {
        auto* buffer = new unsigned char[64 * 48];
        std::fill_n(buffer, 64 * 48, static_cast<unsigned char>(grey));
        emit thread->captured(0, QImage(buffer, 64, 48, 64, QImage::Format_Grayscale8), buffer, now());
    }

    /// Looks at what is shown. Between two frames a tile can change once, so that nothing is missed.
    void note() {
        if (seen.isEmpty() || seen.last() != shown())
            seen.append(shown());
    }

    WindowUnderTest window;
    CaptureThread* thread = nullptr;
    int delivered = 0;
    int paintings = 0;
    QVector<quint64> seen;  // what was shown, one after the other
    std::atomic<int> sent{0};
    std::atomic<quint64> newest{0};  // time stamp of the last frame sent
    std::atomic<const unsigned char*> newestBuffer{nullptr};

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++paintings;
            note();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    recording::Camera camera;
};
