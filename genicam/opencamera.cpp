// SPDX-License-Identifier: Apache-2.0
#include "opencamera.h"

#include <arv.h>

#include <QDebug>

#include <algorithm>
#include <array>

#include "accesses.h"
#include "failure.h"
#include "featurenode.h"
#include "network.h"
#include "pixels.h"
#include "unserved.h"

namespace kvgen {

namespace {

constexpr int64_t kLargestPayload = int64_t{1} << 28;  // bytes of a frame
constexpr int64_t kSlack = int64_t{1} << 20;           // bytes of a frame besides its pixels
constexpr int64_t kAllMemory = int64_t{1} << 31;       // bytes for the buffers of all cameras
constexpr int64_t kBufferMemory = int64_t{64} << 20;   // bytes for one camera's buffers
constexpr int64_t kLargestFrame = INT32_MAX / 3;       // px: operations count the bytes of a colour frame so
constexpr uint64_t kSerialAddress = 0x00d8;            // of a GigE Vision camera's serial number
constexpr uint32_t kSerialLength = 16;                 // bytes
constexpr int kMostOwed = 2;                           // openings
constexpr char kTransportLock[] = "TLParamsLocked";    // 1 while it streams; Aravis leaves it alone

int64_t aligned(int64_t value, int64_t minimum, int64_t maximum, int64_t step) {
    value = std::clamp(value, minimum, std::max(minimum, maximum));
    return minimum + (value - minimum) / std::max<int64_t>(step, 1) * std::max<int64_t>(step, 1);
}

/// As the configuration has it.
QString textOf(const QRect& region) {
    QString text = QStringLiteral("%1x%2").arg(region.width()).arg(region.height());
    if (region.x() >= 0)
        text += QStringLiteral("+%1+%2").arg(region.x()).arg(region.y());
    return text;
}

ArvDevice* openDevice(const Found& found, const QByteArray& localAddress, Failure& failure) {
    GInetAddress* local = g_inet_address_new_from_string(localAddress.constData());
    GInetAddress* camera = g_inet_address_new_from_string(found.address.constData());
    ArvDevice* device = arv_gv_device_new(local, camera, &failure);
    g_object_unref(local);
    g_object_unref(camera);
    if (device != nullptr && failure)
        g_clear_object(&device);
    return device;
}

using ControlFlag = std::shared_ptr<std::atomic<bool>>;

/// On Aravis's thread, while the device lives.
void controlIsLost(ArvDevice*, gpointer flag) {
    **static_cast<ControlFlag*>(flag) = true;
}

void forgetControl(gpointer flag, GClosure*) {
    delete static_cast<ControlFlag*>(flag);
}

std::atomic<int64_t> memoryTaken{0};  // bytes, for the buffers of all cameras

}  // namespace

std::unique_ptr<OpenCamera::Share> OpenCamera::Share::of(int64_t bytes) {
    std::unique_ptr<Share> share(new Share(bytes));
    if ((memoryTaken += bytes) > kAllMemory)
        return nullptr;
    return share;
}

OpenCamera::Share::~Share() {
    memoryTaken -= bytes_;
}

QString OpenCamera::silent() {
    return QStringLiteral("no answer any more");
}

std::unique_ptr<OpenCamera> OpenCamera::open(const Found& found, const Wishes& wishes, Memory& memory,
                                             Trouble& trouble, QString& reason) {
    forgetAccesses();
    ArvCamera* camera = nullptr;
    Failure failure;
    QByteArray localAddress;
    trouble = Trouble::Absent;
    if (found.isName) {
        const std::optional<Found> named = byName(found.name);
        if (named)
            return open(*named, wishes, memory, trouble, reason);
        reason = QStringLiteral("no host and no camera of this name");
        return nullptr;
    }
    if (found.address.isEmpty()) {
        // By its own interface: any would look for it in the network first, which takes a second.
        const std::lock_guard<std::mutex> lock(openingMutex());
        ArvInterface* usb = arv_uv_interface_get_instance();
        if (ArvDevice* device = arv_interface_open_device(usb, found.name.constData(), &failure)) {
            camera = arv_camera_new_with_device(device, &failure);
            g_object_unref(device);
        } else if (!failure) {
            reason = QStringLiteral("no USB camera of this name");
            return nullptr;
        }
    } else {
        // Opening a camera that is not there takes seconds, and others would have to wait for it.
        const Look look = lookAt(found.address);
        if (!look.answers) {
            reason = QStringLiteral("no answer from %1").arg(QString::fromUtf8(found.address));
            return nullptr;
        }
        if (look.isHeld) {
            // Whose tile it is has to be known although it cannot be opened.
            if (memory.serial.isEmpty())
                memory.serial = look.serial;
            trouble = Trouble::Held;
            return nullptr;
        }
        localAddress = look.localAddress;
        const std::lock_guard<std::mutex> lock(openingMutex());
        if (ArvDevice* device = openDevice(found, localAddress, failure)) {
            camera = arv_camera_new_with_device(device, &failure);
            g_object_unref(device);
        }
    }
    if (camera != nullptr && failure)
        g_clear_object(&camera);
    if (camera == nullptr) {
        reason = failure.text();
        const bool isAbsent = failure.is(ARV_DEVICE_ERROR_TIMEOUT) || failure.is(ARV_DEVICE_ERROR_NOT_FOUND);
        trouble = isAbsent ? Trouble::Absent : Trouble::Nonsense;
        return nullptr;
    }
    ArvDevice* device = arv_camera_get_device(camera);
    if (ARV_IS_GV_DEVICE(device) && !arv_gv_device_is_controller(ARV_GV_DEVICE(device))) {
        g_object_unref(camera);
        // One that has just fallen silent looks the same.
        const bool isThere = lookAt(found.address).answers;
        trouble = isThere ? Trouble::Held : Trouble::Absent;
        if (!isThere)
            reason = silent();
        return nullptr;
    }

    std::unique_ptr<OpenCamera> open(new OpenCamera(camera, found.name, wishes));
    trouble = Trouble::Nonsense;
    reason = open->prepare(localAddress, memory, trouble);
    if (!reason.isEmpty()) {
        const bool isOwed = hasUnanswered();
        const Pulse pulse = open->pulse();
        if (pulse == Pulse::NotOurs) {
            trouble = Trouble::Held;
        } else if (pulse == Pulse::Silent || (isOwed && memory.owed < kMostOwed)) {
            // What it seems to say then is made of nothing.
            trouble = Trouble::Absent;
            reason = silent();
            memory.owed += pulse == Pulse::Alive ? 1 : 0;
        }
        return nullptr;
    }
    if (hasUnanswered())
        forgetAccesses();  // taken as it is
    else
        memory.owed = 0;
    trouble = Trouble::None;
    return open;
}

OpenCamera::OpenCamera(ArvCamera* camera, const QByteArray& name, const Wishes& wishes)
    : camera_(camera),
      name_(name),
      configuration_(wishes.configuration),
      label_(wishes.label),
      neighbours_(wishes.neighbours),
      isBySerial_(wishes.isBySerial),
      progress_(wishes.progress),
      isControlLost_(std::make_shared<std::atomic<bool>>(false)) {
    g_signal_connect_data(arv_camera_get_device(camera_), "control-lost", G_CALLBACK(controlIsLost),
                          new ControlFlag(isControlLost_), forgetControl, GConnectFlags(0));
}

OpenCamera::~OpenCamera() {
    // Whoever was to be told of progress may be gone.
    progress_ = [] {};
    stop();
    features_.reset();
    g_object_unref(camera_);
}

QString OpenCamera::prepare(const QByteArray& localAddress, Memory& memory, Trouble& trouble) {
    arv_camera_set_range_check_policy(camera_, ARV_RANGE_CHECK_POLICY_ENABLE);
    // What it lacks because it did not answer it does not lack, so it is opened once more. But one that
    // always owes the same answer is taken as it is.
    const bool isPatient = memory.owed < kMostOwed;
    const auto isGone = [&] { return hasUnanswered() && (isPatient || pulse() == Pulse::Silent); };
    QByteArray serial = readSerial();
    if (isGone())
        return silent();
    if (serial.isEmpty())
        serial = memory.serial.isEmpty() ? name_ : memory.serial;
    if (serial != memory.serial) {
        if (isBySerial_ && !memory.serial.isEmpty()) {
            trouble = Trouble::Absent;
            return QStringLiteral("at its address there is %1 now").arg(QString::fromUtf8(serial));
        }
        if (!memory.serial.isEmpty() && !serial.isEmpty())
            qWarning("%s: now it is another camera, with the serial number %s", qPrintable(label_),
                     serial.constData());
        const int owed = memory.owed;
        memory = Memory();
        memory.serial = serial;
        memory.owed = owed;
    }
    progress_();
    // A program that was killed may have left it running.
    {
        Failure failure;
        arv_camera_stop_acquisition(camera_, &failure);
    }
    isStopped_ = true;
    setUp();
    if (isGone())
        return silent();
    progress_();
    if (!memory.told)
        memory.told = std::make_shared<std::set<QString>>();
    told_ = memory.told;
    QString reason = choosePixelFormat();
    if (reason.isEmpty() && !isGone())
        reason = findModes(memory);
    if (isGone())
        return silent();
    if (!reason.isEmpty())
        return reason;
    features_ = std::make_unique<CameraFeatures>(camera_, configuration_, progress_);
    progress_();
    if (arv_camera_is_gv_device(camera_)) {
        preparePackets(localAddress, memory);
        noteMaster();
    }
    if (isGone())
        return silent();
    if (!memory.isReported)
        reportUnserved(label_, configuration_, *features_, arv_camera_get_device(camera_));
    memory.isReported = true;
    return {};
}

/// The same line for the same camera once, however often it is opened and set up.
void OpenCamera::tell(const QString& text) {
    if (told_->insert(text).second)
        qWarning("%s: %s", qPrintable(label_), qPrintable(text));
}

QString OpenCamera::setUpAgain() {
    setUp();
    progress_();
    return choosePixelFormat();
}

/// Undoes what others may have left in it, and what would keep frames from coming.
void OpenCamera::setUp() {
    setInteger(kTransportLock, 0);
    ArvDevice* device = arv_camera_get_device(camera_);
    QByteArray reason;
    const auto choose = [&](const char* feature, const char* entry) {
        const FeatureNode node(device, feature);
        QByteArray now;
        if (node.hasEntry(entry) && (node.readEntry(now, reason) != Status::Ok || now != entry))
            node.writeEntry(entry, reason);
    };
    choose("AcquisitionMode", "Continuous");
    choose("ExposureMode", "Timed");
    // A trigger that the snap mode knows nothing of.
    const FeatureNode selector(device, "TriggerSelector");
    if (!selector.hasEntry("FrameStart"))
        return;
    for (const char* trigger :
         {"AcquisitionStart", "FrameBurstStart", "AcquisitionActive", "FrameBurstActive"}) {
        if (!selector.hasEntry(trigger))
            continue;
        selector.writeEntry(trigger, reason);
        choose("TriggerMode", "Off");
        progress_();
    }
    selector.writeEntry("FrameStart", reason);
}

/// The one that a discovery tells, where there is one, without odd bytes. Empty: it does not answer, and must
/// not be taken for another camera.
QByteArray OpenCamera::readSerial() const {
    QByteArray serial;
    ArvDevice* device = arv_camera_get_device(camera_);
    if (ARV_IS_GV_DEVICE(device)) {
        std::array<char, kSerialLength> bytes{};
        Failure failure;
        if (arv_device_read_memory(device, kSerialAddress, kSerialLength, bytes.data(), &failure))
            serial = QByteArray(bytes.data(), static_cast<int>(qstrnlen(bytes.data(), kSerialLength)));
    }
    if (serial.trimmed().isEmpty()) {
        // Where it fails, what it points to has no end.
        Failure failure;
        const char* const said = arv_camera_get_device_serial_number(camera_, &failure);
        if (failure.is(ARV_DEVICE_ERROR_TIMEOUT) || failure.is(ARV_DEVICE_ERROR_NOT_CONNECTED))
            return {};
        serial = failure ? nullptr : said;
    }
    const auto end = std::remove_if(serial.begin(), serial.end(), [](char c) { return c <= ' ' || c > '~'; });
    serial.truncate(static_cast<int>(end - serial.begin()));
    return serial.isEmpty() ? name_ : serial;
}

bool OpenCamera::has(const char* feature) const {
    Failure failure;
    return arv_camera_is_feature_available(camera_, feature, &failure);
}

bool OpenCamera::setInteger(const char* feature, int64_t value) {
    if (!has(feature))
        return false;
    // Reading is one question, writing within the range takes four.
    Failure failure;
    if (arv_camera_get_integer(camera_, feature, &failure) == value && !failure)
        return true;
    arv_camera_set_integer(camera_, feature, value, &failure);
    return !failure;
}

int64_t OpenCamera::integer(const char* feature, int64_t otherwise) const {
    if (!has(feature))
        return otherwise;
    Failure failure;
    const int64_t value = arv_camera_get_integer(camera_, feature, &failure);
    return failure ? otherwise : value;
}

QString OpenCamera::choosePixelFormat() {
    Failure failure;
    guint count = 0;
    const char** names = arv_camera_dup_available_pixel_formats_as_strings(camera_, &count, &failure);
    QVector<QByteArray> offered;
    for (guint i = 0; names != nullptr && i < count; ++i)
        offered.append(names[i]);
    g_free(names);
    QVector<QByteArray> wanted{"BayerRG8",   "BayerGR8", "BayerGB8",   "BayerBG8", "RGB8",
                               "RGB8Packed", "BGR8",     "BGR8Packed", "Mono8"};
    if (!configuration_.pixelFormat.isEmpty()) {
        if (!offered.contains(configuration_.pixelFormat))
            tell(QStringLiteral("has no pixel format %1; another one is taken")
                     .arg(QString::fromUtf8(configuration_.pixelFormat)));
        wanted.prepend(configuration_.pixelFormat);
    }
    const auto chosen = std::find_if(wanted.cbegin(), wanted.cend(),
                                     [&](const QByteArray& name) { return offered.contains(name); });
    if (chosen != wanted.cend())
        arv_camera_set_pixel_format_from_string(camera_, chosen->constData(), &failure);
    const ArvPixelFormat now = arv_camera_get_pixel_format(camera_, &failure);
    if (failure)
        return QStringLiteral("its pixel format cannot be read: %1").arg(failure.text());
    if (!layoutOf(now))
        return QStringLiteral("it sends the pixel format 0x%1, which the library does not understand")
            .arg(static_cast<uint>(now), 8, 16, QLatin1Char('0'));
    return {};
}

QString OpenCamera::findModes(Memory& memory) {
    Mode full;
    QString reason = apply(full);
    if (!reason.isEmpty())
        return reason;
    if (!memory.modes.isEmpty() && memory.modes[0].size == full.size)
        return {};
    QVector<Mode> modes{full};
    for (const int binning : {2, 4}) {
        progress_();
        Mode binned;
        binned.binning = binning;
        if (has("BinningHorizontal") && apply(binned).isEmpty())
            modes.append(binned);
    }
    for (const QRect& region : configuration_.regions) {
        progress_();
        Mode mode;
        mode.region = region;
        const QString refusal = apply(mode);
        if (!refusal.isEmpty()) {
            qWarning("%s: no resolution mode for the region %s: %s", qPrintable(label_),
                     qPrintable(textOf(region)), qPrintable(refusal));
            continue;
        }
        modes.append(mode);
        const QPoint corner(static_cast<int>(integer("OffsetX", 0)), static_cast<int>(integer("OffsetY", 0)));
        const QRect given(region.x() < 0 ? region.topLeft() : corner, mode.size);
        if (given != region)
            qWarning("%s: the region %s becomes %s", qPrintable(label_), qPrintable(textOf(region)),
                     qPrintable(textOf(given)));
    }
    if (!hasUnanswered() || memory.owed >= kMostOwed)
        memory.modes = modes;
    return modes.size() > 1 || !configuration_.regions.isEmpty() ? apply(full) : QString();
}

QString OpenCamera::apply(Mode& mode) {
    setInteger("OffsetX", 0);
    setInteger("OffsetY", 0);
    // Another program may have left one.
    setInteger("DecimationHorizontal", 1);
    setInteger("DecimationVertical", 1);
    for (const char* binning : {"BinningHorizontal", "BinningVertical"}) {
        if (integer(binning, 1) != mode.binning &&
            (!setInteger(binning, mode.binning) || integer(binning, 1) != mode.binning))
            return QStringLiteral("%1 cannot be %2").arg(QLatin1String(binning)).arg(mode.binning);
    }
    const QString reason = setRegion(mode.region);
    return reason.isEmpty() ? readSize(mode.size) : reason;
}

/// With the offsets at 0. Empty: everything.
QString OpenCamera::setRegion(const QRect& region) {
    struct Side {
        const char* length;
        const char* offset;
        const char* largest;
        int wantedLength;
        int wantedOffset;
    };
    const std::array<Side, 2> sides{{{"Width", "OffsetX", "WidthMax", region.width(), region.x()},
                                     {"Height", "OffsetY", "HeightMax", region.height(), region.y()}}};
    for (const Side& side : sides) {
        Failure failure;
        gint64 minimum = 1;
        gint64 maximum = 0;
        arv_camera_get_integer_bounds(camera_, side.length, &minimum, &maximum, &failure);
        const int64_t now = integer(side.length, 0);
        // Without a bound of its own a number's is that of its type.
        if (failure || maximum > INT32_MAX)
            maximum = integer(side.largest, now);
        if (failure || minimum < 1)
            minimum = 1;
        const int64_t step = arv_camera_get_integer_increment(camera_, side.length, &failure);
        if (region.isEmpty()) {
            if (maximum > 0 && now != maximum)
                setInteger(side.length, aligned(maximum, minimum, maximum, step));
            continue;
        }
        if (side.wantedOffset >= maximum || side.wantedLength < minimum)
            return QStringLiteral("it lies outside of the sensor or is too small");
        const int64_t room = maximum - std::max(side.wantedOffset, 0);
        const int64_t length = aligned(std::min<int64_t>(side.wantedLength, room), minimum, maximum, step);
        if (length > room)
            return QStringLiteral("it lies outside of the sensor or is too small");
        const int64_t offset = side.wantedOffset < 0 ? (maximum - length) / 2 : side.wantedOffset;
        const int64_t offsetStep =
            has(side.offset) ? arv_camera_get_integer_increment(camera_, side.offset, &failure) : 1;
        setInteger(side.length, length);
        if (integer(side.length, 0) != length)
            return QStringLiteral("%1 cannot be %2").arg(QLatin1String(side.length)).arg(length);
        const int64_t begin = aligned(offset, 0, maximum - length, offsetStep);
        setInteger(side.offset, begin);
        // In the middle is where it lies without being told, in a camera that has no offset.
        if (integer(side.offset, side.wantedOffset < 0 ? begin : 0) != begin)
            return QStringLiteral("%1 cannot be %2").arg(QLatin1String(side.offset)).arg(begin);
    }
    return {};
}

QString OpenCamera::readSize(QSize& size) const {
    const int64_t width = integer("Width", 0);
    const int64_t height = integer("Height", 0);
    if (width < 1 || height < 1 || width > kLargestFrame || height > kLargestFrame / width)
        return QStringLiteral("it says that its frames have %1 x %2 px").arg(width).arg(height);
    size = QSize(static_cast<int>(width), static_cast<int>(height));
    return {};
}

QString OpenCamera::readPayload(QSize& size, int64_t& payload) const {
    QString reason = readSize(size);
    if (!reason.isEmpty())
        return reason;
    payload = integer("PayloadSize", 0);
    const auto layout = layoutOf(arv_camera_get_pixel_format(camera_, nullptr));
    const int64_t needed = int64_t{size.width()} * size.height() * (layout ? channelsOf(*layout) : 1);
    // What is behind the pixels, or the unpacked ones of a format, has its limits.
    const int64_t most = std::min(int64_t{size.width()} * size.height() * 3 + kSlack, kLargestPayload);
    if (payload < needed || payload > most)
        return QStringLiteral("it says that a frame of %1 x %2 px has %3 bytes")
            .arg(size.width())
            .arg(size.height())
            .arg(payload);
    return {};
}

QString OpenCamera::makeStream() {
    Failure failure;
    // Aravis's packet socket, which a program with many rights would get, hears every packet on the interface
    // until its filter is set: another camera's frame would be taken for this one's, and a frame number from
    // there hides those that follow.
    ArvDevice* device = arv_camera_get_device(camera_);
    if (ARV_IS_GV_DEVICE(device))
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    // The queue outlives the stream, whose end waits for its thread.
    stream_ = arv_camera_create_stream(
        camera_,
        [](void* queue, ArvStreamCallbackType type, ArvBuffer* buffer) {
            FrameQueue::callback(queue, type, buffer);
        },
        queue_.get(), &failure);
    if (failure)
        g_clear_object(&stream_);
    if (stream_ == nullptr)
        return QStringLiteral("no stream: %1").arg(failure.text());
    if (ARV_IS_GV_STREAM(stream_)) {
        g_object_set(stream_, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     configuration_.socketBuffer, nullptr);
        // Aravis itself does so with the first packet, when those behind it may be lost already: a shot is
        // often the first frame.
        setReceiveBuffer(arv_gv_stream_get_port(ARV_GV_STREAM(stream_)), configuration_.socketBuffer);
    }
    return {};
}

QString OpenCamera::start(bool keepsAll) {
    stop();
    QSize size;
    int64_t payload = 0;
    QString reason = readPayload(size, payload);
    if (!reason.isEmpty())
        return reason;
    progress_();
    const int buffers = static_cast<int>(std::clamp<int64_t>(kBufferMemory / payload, 4, 8));
    memory_ = Share::of(buffers * payload);
    if (!memory_)
        return QStringLiteral(
                   "its frames of %1 bytes and those of the others need more memory than there is "
                   "for them")
            .arg(payload);
    if (packetSize_ != 0)
        keepPackets();
    queue_ = std::make_shared<FrameQueue>();
    queue_->expect(size.width(), size.height());
    queue_->setKeepsAll(keepsAll);
    reason = makeStream();
    progress_();
    if (reason.isEmpty() && mtu_ != 0) {
        settlePackets();
        if (stream_ == nullptr)
            reason = makeStream();
    }
    if (!reason.isEmpty()) {
        queue_.reset();
        return reason;
    }
    progress_();
    queue_->attach(stream_, static_cast<size_t>(payload), buffers);
    progress_();
    setInteger(kTransportLock, 1);
    Failure failure;
    arv_camera_start_acquisition(camera_, &failure);
    isStopped_ = false;
    if (!failure)
        return {};
    stop();
    return QStringLiteral("it does not start: %1").arg(failure.text());
}

void OpenCamera::stop() {
    if (!isStopped_) {
        Failure failure;
        arv_camera_stop_acquisition(camera_, &failure);
        // A camera that is gone is asked once: each question to it takes seconds.
        if (!failure.is(ARV_DEVICE_ERROR_TIMEOUT) && !failure.is(ARV_DEVICE_ERROR_NOT_CONNECTED))
            setInteger(kTransportLock, 0);
    }
    isStopped_ = true;
    progress_();
    if (queue_)
        queue_->detach();
    g_clear_object(&stream_);
    queue_.reset();
    memory_.reset();
    progress_();
}

double OpenCamera::framePeriod() const {
    Failure failure;
    const double exposure = arv_camera_get_exposure_time(camera_, &failure);  // us
    double period = failure ? 0 : exposure / 1000;
    const double rate = arv_camera_get_frame_rate(camera_, &failure);
    if (!failure && rate > 0)
        period = std::max(period, 1000 / rate);
    return period;
}

}  // namespace kvgen
