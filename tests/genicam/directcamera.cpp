// SPDX-License-Identifier: Apache-2.0
#include "directcamera.h"

#include <QElapsedTimer>

namespace {

constexpr int kBuffers = 8;
constexpr int kPacket = 8000;  // bytes

}  // namespace

DirectCamera::DirectCamera(const QString& address) {
    GError* error = nullptr;
    camera_ = arv_camera_new(address.toLatin1().constData(), &error);
    note(error);
}

DirectCamera::~DirectCamera() {
    stop();
    g_clear_object(&camera_);
}

bool DirectCamera::note(GError* error) {
    if (!error)
        return true;
    error_ = QString::fromUtf8(error->message);
    g_error_free(error);
    return false;
}

bool DirectCamera::set(const char* feature, double value) {
    GError* error = nullptr;
    ArvGcNode* node = arv_device_get_feature(device(), feature);
    if (ARV_IS_GC_FLOAT(node))
        arv_device_set_float_feature_value(device(), feature, value, &error);
    else if (ARV_IS_GC_BOOLEAN(node))
        arv_device_set_boolean_feature_value(device(), feature, value != 0 ? TRUE : FALSE, &error);
    else
        arv_device_set_integer_feature_value(device(), feature, static_cast<gint64>(value), &error);
    return note(error);
}

bool DirectCamera::choose(const char* feature, const char* entry) {
    GError* error = nullptr;
    arv_device_set_string_feature_value(device(), feature, entry, &error);
    return note(error);
}

bool DirectCamera::execute(const char* command) {
    GError* error = nullptr;
    arv_device_execute_command(device(), command, &error);
    return note(error);
}

double DirectCamera::real(const char* feature) {
    GError* error = nullptr;
    ArvGcNode* node = arv_device_get_feature(device(), feature);
    const double value =
        ARV_IS_GC_FLOAT(node)
            ? arv_device_get_float_feature_value(device(), feature, &error)
            : static_cast<double>(arv_device_get_integer_feature_value(device(), feature, &error));
    return note(error) ? value : -1e9;
}

bool DirectCamera::isOn(const char* feature) {
    GError* error = nullptr;
    const gboolean value = arv_device_get_boolean_feature_value(device(), feature, &error);
    return note(error) && value != FALSE;
}

QByteArray DirectCamera::text(const char* feature) {
    GError* error = nullptr;
    const QByteArray value = arv_device_get_string_feature_value(device(), feature, &error);
    return note(error) ? value : QByteArray();
}

bool DirectCamera::start() {
    GError* error = nullptr;
    arv_camera_gv_set_packet_size(camera_, kPacket, &error);
    if (!note(error))
        return false;
    stream_ = arv_camera_create_stream(camera_, nullptr, nullptr, &error);
    if (!note(error) || !stream_)
        return false;
    g_object_set(stream_, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", 4 << 20,
                 "packet-resend", ARV_GV_STREAM_PACKET_RESEND_NEVER, nullptr);
    const guint payload = arv_camera_get_payload(camera_, &error);
    if (!note(error))
        return false;
    for (int i = 0; i < kBuffers; ++i)
        arv_stream_push_buffer(stream_, arv_buffer_new(payload, nullptr));
    arv_camera_start_acquisition(camera_, &error);
    return note(error);
}

void DirectCamera::stop() {
    if (!stream_)
        return;
    GError* error = nullptr;
    arv_camera_stop_acquisition(camera_, &error);
    note(error);
    g_clear_object(&stream_);
}

SentFrame DirectCamera::next(int timeout) {
    SentFrame frame;
    ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream_, static_cast<guint64>(timeout) * 1000);
    if (!buffer)
        return frame;
    frame.isComplete = arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS;
    if (frame.isComplete) {
        size_t size = 0;
        const auto* data = static_cast<const char*>(arv_buffer_get_data(buffer, &size));
        frame.pixels = QByteArray(data, static_cast<int>(size));
        frame.width = arv_buffer_get_image_width(buffer);
        frame.height = arv_buffer_get_image_height(buffer);
        frame.format = arv_buffer_get_image_pixel_format(buffer);
    }
    arv_stream_push_buffer(stream_, buffer);
    return frame;
}

SentFrame DirectCamera::fresh(int timeout) {
    while (ArvBuffer* buffer = arv_stream_try_pop_buffer(stream_))
        arv_stream_push_buffer(stream_, buffer);
    QElapsedTimer timer;
    timer.start();
    // The first of them may have been under way.
    int complete = 0;
    while (timer.elapsed() < timeout) {
        SentFrame frame = next(timeout);
        if (frame.isComplete && ++complete == 2)
            return frame;
    }
    return {};
}

uint64_t DirectCamera::failures() const {
    guint64 completed = 0;
    guint64 failures = 0;
    guint64 underruns = 0;
    arv_stream_get_statistics(stream_, &completed, &failures, &underruns);
    return failures;
}
