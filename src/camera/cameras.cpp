#include "camera/cameras.h"

#include <QDebug>

#include "camera/kvcap2.h"

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
}

void Cameras::free() {
    for (int i = 0; i < serials.size(); ++i)
        CameraFree(i);
    serials.clear();
}

void Cameras::trigger() const {
    for (int i = 0; i < serials.size(); ++i)
        CameraTriggerShot(i);
}
