// SPDX-License-Identifier: Apache-2.0
#include "cameracost.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <ctime>

#include "camera/kvcap2.h"

namespace {

std::atomic<int64_t> nanoseconds{0};

int64_t threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

}  // namespace

double cameraSeconds() {
    return double(nanoseconds) / 1e9;
}

int32_t CameraQueryImage(int32_t index, uint8_t* buffer, int32_t* length, int32_t format) {
    static const auto query =
        reinterpret_cast<decltype(&CameraQueryImage)>(dlsym(RTLD_NEXT, "CameraQueryImage"));
    const int64_t begin = threadTime();
    const int32_t status = query(index, buffer, length, format);
    nanoseconds += threadTime() - begin;
    return status;
}
