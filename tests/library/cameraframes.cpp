// SPDX-License-Identifier: Apache-2.0
#include "cameraframes.h"

cv::Mat frameOf(int32_t camera, int32_t format) {
    int32_t width = 0;
    int32_t height = 0;
    if (CameraGetImageSize(camera, &width, &height) != 0)
        return {};
    cv::Mat frame(height, width, format == kFormatMono8 ? CV_8UC1 : CV_8UC3);
    auto length = static_cast<int32_t>(frame.total() * frame.elemSize());
    return CameraQueryImage(camera, frame.data, &length, format) == 0 ? frame : cv::Mat();
}

double meanOf(const cv::Mat& picture) {
    return cv::mean(picture.reshape(1))[0];
}

double spreadOf(const cv::Mat& picture) {
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(picture.reshape(1), mean, deviation);
    return deviation[0];
}

double differenceOf(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    return meanOf(difference);
}

double smallestOf(const cv::Mat& picture) {
    double low = 0;
    cv::minMaxLoc(picture.reshape(1), &low);
    return low;
}

QSize sizeOf(int32_t camera) {
    int32_t width = 0;
    int32_t height = 0;
    CameraGetImageSize(camera, &width, &height);
    return {width, height};
}

int32_t cameraCount() {
    int32_t count = -1;
    CameraGetCount(&count);
    return count;
}

QByteArray serialOf(int32_t camera) {
    QByteArray serial(kSerialNumberLength, 0);
    CameraReadSerialNumber(camera, serial.data(), kSerialNumberLength);
    return serial.left(static_cast<int>(qstrnlen(serial.constData(), kSerialNumberLength)));
}
