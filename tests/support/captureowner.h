// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtTest>

#include <QScopedPointer>
#include <QVector>

#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "support/recordingcamera.h"
#include "support/workingfolder.h"

constexpr int kWait = 5000;  // ms, limit of every wait

/// What `captured` brought, with the buffers freed and the pixels kept.
struct Frame {
    int id;
    QImage image;
    quint64 timestamp;
    bool pixelsLieInBuffer;
};

/// Who has a capture thread and keeps what it sends.
class CaptureOwner {
protected:
    void setUp();
    void tearDown();

    CaptureThread* makeThread(const CaptureTask& task = {});
    void receive(CaptureThread* thread);
    bool waitForFrames(int count);
    void stop(CaptureThread* thread);
    static recording::Camera refusingCamera();
    static int sizeQuestions();
    /// The tries have become slow: so many at once that the next is 8 ms away or more.
    static bool waitForSlowTries();

    QScopedPointer<WorkingFolder> folder;
    QObject owner;  // stands for the window: receives on the test's thread
    QVector<Frame> frames;
};

inline void CaptureOwner::setUp() {
    folder.reset(new WorkingFolder);
    frames.clear();
    recording::reset(2);
}

inline void CaptureOwner::tearDown() {
    recording::releaseQueries();
    const auto threads = owner.findChildren<CaptureThread*>();
    for (CaptureThread* thread : threads)
        stop(thread);
    QCoreApplication::sendPostedEvents(&owner, QEvent::MetaCall);
    qDeleteAll(threads);
    folder.reset();
}

inline CaptureThread* CaptureOwner::makeThread(const CaptureTask& task) {
    auto* thread = new CaptureThread(task, &owner);
    receive(thread);
    return thread;
}

inline void CaptureOwner::receive(CaptureThread* thread) {
    QObject::connect(
        thread, &CaptureThread::captured, &owner,
        [this](int id, const QImage& image, unsigned char* buffer, quint64 timestamp) {
            frames.append({id, image.copy(), timestamp, image.isNull() || image.constBits() == buffer});
            delete[] buffer;
        });
}

inline bool CaptureOwner::waitForFrames(int count) {
    return QTest::qWaitFor([&] { return frames.size() >= count; }, kWait);
}

inline void CaptureOwner::stop(CaptureThread* thread) {
    thread->stopCapturing();
    QVERIFY(thread->wait(kWait));
}

/// It brings no frame, and says so at once.
inline recording::Camera CaptureOwner::refusingCamera() {
    recording::Camera camera;
    camera.queryStatus = 7;
    camera.queryDelay = 0;
    return camera;
}

inline int CaptureOwner::sizeQuestions() {
    return recording::callsOf(QStringLiteral("CameraGetImageSize")).size();
}

inline bool CaptureOwner::waitForSlowTries() {
    return QTest::qWaitFor([] { return sizeQuestions() > 520; }, kWait);
}
