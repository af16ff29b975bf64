// SPDX-License-Identifier: Apache-2.0
#include "camera/cameras.h"

#include <QDeadlineTimer>
#include <algorithm>
#include <cstdlib>

#include "camera/askaside.h"
#include "camera/kvcap2.h"

namespace {

/// What has cameras open now. Never freed itself, since it is needed to the very end.
QVector<Cameras*>& opened() {
    static auto& all = *new QVector<Cameras*>;
    return all;
}

/// Where exit() ends the process: no destructor of an owner runs then.
void freeAtExit() {
    while (!opened().isEmpty())
        opened().last()->free();
}

}  // namespace

int Cameras::attached() {
    int32_t count = 0;
    CameraGetCount(&count);
    return count;
}

QSize Cameras::frameSize(int camera) {
    int32_t width = 0;
    int32_t height = 0;
    CameraGetImageSize(camera, &width, &height);
    return {width, height};
}

bool Cameras::isTriggered(int camera) {
    int32_t mode = kSnapContinuous;
    return CameraGetSnapMode(camera, &mode) == 0 && mode != kSnapContinuous;
}

void Cameras::open(int count, int timeout) {
    for (int i = 0; i < count; ++i) {
        // The library does not have to end the text. A little longer than it is told, for one that is
        // careless.
        char serial[16] = {};
        CameraInit(i);
        CameraSetTimeout(i, timeout);
        CameraReadSerialNumber(i, serial, kSerialNumberLength);
        serial[kSerialNumberLength] = '\0';
        serials.append(serial);
    }
    opened().append(this);
    // Now and not before: the library has to be there still when it is called, and takes itself down in the
    // opposite order.
    static const bool isRegistered = std::atexit(freeAtExit) == 0;
    static_cast<void>(isRegistered);
}

void Cameras::freeAllBut(const QVector<int>& left) {
    opened().removeAll(this);
    waits.resize(static_cast<size_t>(serials.size()));
    for (int i = 0; i < serials.size(); ++i) {
        auto& wait = waits[static_cast<size_t>(i)];
        answerWithin(wait, 0);
        if (!left.contains(i) && !wait.valid())
            CameraFree(i);
    }
    serials.clear();
    waits.clear();
}

int Cameras::longestWait(int patience) {
    waits.resize(static_cast<size_t>(serials.size()));
    for (int i = 0; i < serials.size(); ++i) {
        if (auto& wait = waits[static_cast<size_t>(i)]; !wait.valid()) {
            wait = askAside<int>([i] {
                int32_t told = 0;
                CameraGetTimeout(i, &told);
                return told;
            });
        }
    }
    const QDeadlineTimer deadline(patience);
    int longest = 0;
    for (auto& wait : waits)
        longest = std::max(longest, answerWithin(wait, deadline.remainingTime()).value_or(0));
    return longest;
}

void Cameras::trigger() const {
    for (int i = 0; i < serials.size(); ++i)
        CameraTriggerShot(i);
}
