// SPDX-License-Identifier: Apache-2.0
// What the library for GenICam cameras reads and reckons without one. The first byte says what the rest is:
// its configuration, a file of parameter slots (the serial number, then the content), a frame, or numbers.

// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include <QSettings>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "camerafeatures.h"
#include "configuration.h"
#include "conversions.h"
#include "fuzz/fuzzgui.h"
#include "parameterslots.h"
#include "pixels.h"

// Of the leak sanitizer, in a build that has it.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

using namespace kvgen;

namespace {

constexpr int kMostLines = 150;  // of the log, for one file
constexpr int kLongestLine = 600;

/// Numbers out of the input; zeros behind its end.
class Numbers {
public:
    Numbers(const uint8_t* data, size_t size) : data_(data), end_(data + size) {}

    template <typename T>
    T next() {
        uint8_t bytes[sizeof(T)] = {};
        const size_t count = std::min(sizeof(T), static_cast<size_t>(end_ - data_));
        std::copy(data_, data_ + count, bytes);
        data_ += count;
        T value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    bool atEnd() const { return data_ == end_; }

private:
    const uint8_t* data_;
    const uint8_t* end_;
};

// ---- The log
// -----------------------------------------------------------------------------------------------

int lines = 0;

void countLine(QtMsgType, const QMessageLogContext&, const QString& text) {
    ++lines;
    must(text.startsWith(QLatin1String("KVCap2:")), "a line of the log says whose it is");
    must(text.size() <= kLongestLine, "a line of the log can be read");
    must(!text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')), "a line of the log is one");
}

/// While it lives, the log is looked at.
class LogLooker {
public:
    LogLooker() : before_(qInstallMessageHandler(countLine)) { lines = 0; }
    ~LogLooker() {
        qInstallMessageHandler(before_);
        must(lines <= kMostLines, "a file does not fill the log");
    }
    LogLooker(const LogLooker&) = delete;
    LogLooker& operator=(const LogLooker&) = delete;

private:
    QtMessageHandler before_;
};

// ---- The configuration
// -------------------------------------------------------------------------------------

bool isWithin(double value, double low, double high) {
    return value >= low && value <= high;
}

void check(const CameraConfiguration& camera) {
    must(!camera.packetSize || isWithin(*camera.packetSize, 576, 16000), "packets have a size");
    must(!camera.packetDelay || isWithin(static_cast<double>(*camera.packetDelay), 0, 1e9),
         "packets come within a second");
    must(isWithin(camera.socketBuffer, 64 * 1024, 256 * 1024 * 1024), "a buffer has a size");
    must(!camera.frameRate || isWithin(*camera.frameRate, 0.01, 10000), "a rate is one");
    must(isWithin(camera.exposureUnit, 0.001, 1e6), "an exposure has a unit");
    must(camera.pixelFormat.size() <= 64 && camera.triggerSource.size() <= 64 &&
             !camera.triggerSource.isEmpty(),
         "names are names");
    for (const char c : camera.pixelFormat + camera.triggerSource)
        must(std::isalnum(static_cast<unsigned char>(c)) || c == '_', "names are of letters");
    must(camera.regions.size() <= 32, "there are not too many regions");
    for (const QRect& region : camera.regions) {
        must(isWithin(region.width(), 1, 65535) && isWithin(region.height(), 1, 65535), "a region has sides");
        must((region.x() == -1 && region.y() == -1) ||
                 (isWithin(region.x(), 0, 65535) && isWithin(region.y(), 0, 65535)),
             "a region lies somewhere");
    }
}

bool isSame(const InLibrary& a, const InLibrary& b) {
    return a.gamma == b.gamma && a.contrast == b.contrast && a.saturation == b.saturation &&
           a.blackLevel == b.blackLevel && a.mirrors == b.mirrors;
}

bool isSame(const CameraConfiguration& a, const CameraConfiguration& b) {
    return a.packetSize == b.packetSize && a.packetDelay == b.packetDelay &&
           a.socketBuffer == b.socketBuffer && a.frameRate == b.frameRate && a.pixelFormat == b.pixelFormat &&
           a.triggerSource == b.triggerSource && a.regions == b.regions && a.exposureUnit == b.exposureUnit &&
           isSame(a.inLibrary, b.inLibrary);
}

QString textOf(const InLibrary& inLibrary) {
    QStringList names;
    const auto add = [&names](bool on, const char* name) {
        if (on)
            names.append(QString::fromLatin1(name));
    };
    add(inLibrary.gamma, "gamma");
    add(inLibrary.contrast, "contrast");
    add(inLibrary.saturation, "saturation");
    add(inLibrary.blackLevel, "blacklevel");
    add(inLibrary.mirrors, "mirrors");
    return names.join(QLatin1Char(','));
}

QString textOf(const QVector<QRect>& regions) {
    QStringList texts;
    for (const QRect& region : regions) {
        QString text = QStringLiteral("%1x%2").arg(region.width()).arg(region.height());
        if (region.x() >= 0)
            text += QStringLiteral("+%1+%2").arg(region.x()).arg(region.y());
        texts.append(text);
    }
    return texts.join(QLatin1Char(','));
}

void write(QSettings& file, const QString& section, const CameraConfiguration& camera) {
    file.beginGroup(section);
    if (camera.packetSize)
        file.setValue(QStringLiteral("PacketSize"), *camera.packetSize);
    if (camera.packetDelay)
        file.setValue(QStringLiteral("PacketDelay"), static_cast<qlonglong>(*camera.packetDelay));
    file.setValue(QStringLiteral("SocketBuffer"), camera.socketBuffer);
    if (camera.frameRate)
        file.setValue(QStringLiteral("FrameRate"), QString::number(*camera.frameRate, 'g', 17));
    if (!camera.pixelFormat.isEmpty())
        file.setValue(QStringLiteral("PixelFormat"), QString::fromLatin1(camera.pixelFormat));
    file.setValue(QStringLiteral("TriggerSource"), QString::fromLatin1(camera.triggerSource));
    file.setValue(QStringLiteral("Regions"), textOf(camera.regions));
    file.setValue(QStringLiteral("ExposureUnit"), QString::number(camera.exposureUnit, 'g', 17));
    file.setValue(QStringLiteral("InLibrary"), textOf(camera.inLibrary));
    file.endGroup();
}

Configuration readWatched(const QString& name) {
    const LogLooker looker;
    return readConfiguration(name);
}

void fuzzConfiguration(const QByteArray& content) {
    const InputFolder folder;
    const QString name = QStringLiteral("kvcap2-genicam.ini");
    writeFile(name, content);
    const Configuration read = readWatched(name);
    must(isWithin(read.answerWithin, 10, 5000), "an answer has its time");
    must(read.cameras.size() == 8 && read.addresses.size() <= 8, "there are eight cameras");
    for (const QString& address : read.addresses)
        must(!address.isEmpty() && address == address.trimmed() && address.size() <= 256,
             "an address is a word");
    for (int i = -1; i <= 8; ++i)
        check(read.of(i));

    // The addresses may have bytes that no file gives back.
    const QString again = QStringLiteral("again.ini");
    const QString anew = QStringLiteral("anew.ini");
    {
        QSettings file(anew, QSettings::IniFormat);
        file.setValue(QStringLiteral("Library/AnswerWithin"), read.answerWithin);
        write(file, QStringLiteral("Camera"), read.all);
        for (int i = 0; i < read.cameras.size(); ++i)
            write(file, QStringLiteral("Camera%1").arg(i), read.cameras[i]);
    }
    // QSettings would not read a file that it has written.
    must(QFile::rename(anew, again), "the folder takes files");
    const Configuration written = readWatched(again);
    must(lines == 0, "nothing is said of a good configuration");
    must(written.answerWithin == read.answerWithin && isSame(written.all, read.all),
         "a configuration reads as it is written");
    for (int i = 0; i < read.cameras.size(); ++i)
        must(isSame(written.of(i), read.of(i)), "a camera's configuration reads as it is written");
}

// ---- Parameter slots
// ---------------------------------------------------------------------------------------

/// Features of a camera that Aravis plays in this process, for the whole run. It keeps no sets of its own.
CameraFeatures& playedFeatures() {
    static CameraFeatures* features = [] {
        ArvDevice* device = arv_fake_device_new("1", nullptr);
        ArvCamera* camera = device != nullptr ? arv_camera_new_with_device(device, nullptr) : nullptr;
        must(camera != nullptr, "there is a played camera");
        return new CameraFeatures(camera, {});
    }();
    return *features;
}

void check(const ParameterValues& values) {
    for (const Mapping& mapping : mappings()) {
        const auto& value = values[mapping.parameter];
        must(!value || accepted(mapping.parameter, *value) == value, "a value is one of its parameter");
    }
    must(!values.timeout || isWithin(*values.timeout, 0, 600000), "a time-out is one");
    must(!values.resolution || *values.resolution >= 0, "a mode is one");
}

std::array<LoadedSlot, kParameterSlots> allSlots(const QByteArray& serial, Status& status) {
    std::array<LoadedSlot, kParameterSlots> all;
    for (int slot = 0; slot < kParameterSlots; ++slot) {
        status = loadSlot(playedFeatures(), serial, slot, {}, all[static_cast<size_t>(slot)]);
        must(status == Status::Ok || status == Status::StorageFailure, "a slot loads, or its file is torn");
        must(!all[static_cast<size_t>(slot)].isFromCamera, "a camera without sets has none");
        check(all[static_cast<size_t>(slot)].values);
    }
    return all;
}

/// While it lives, nothing counts as leaked: Qt loses an object in a JSON text that stands there twice under
/// one name.
class LeaksOfJson {
public:
    LeaksOfJson() {
        if (__lsan_disable != nullptr)
            __lsan_disable();
    }
    ~LeaksOfJson() {
        if (__lsan_enable != nullptr)
            __lsan_enable();
    }
    LeaksOfJson(const LeaksOfJson&) = delete;
    LeaksOfJson& operator=(const LeaksOfJson&) = delete;
};

void fuzzSlots(const QByteArray& input) {
    const LeaksOfJson leaks;
    const int end = input.indexOf(kPartEnd);
    const QByteArray serial = input.left(std::clamp(end, 0, 64));
    const QByteArray content = input.mid(end + 1);
    const InputFolder folder;
    const QString name = slotsFile(serial);
    must(name.startsWith(QLatin1String("kvcap2-genicam-")) && !name.contains(QLatin1Char('/')) &&
             !name.contains(QLatin1Char('\\')) && name.toLatin1() == name.toUtf8(),
         "a file's name is one anywhere");
    writeFile(name, content);

    const LogLooker looker;
    Status status = Status::Ok;
    const auto before = allSlots(serial, status);
    const auto& first = before[0].values;
    must(fromJson(toJson(first)) == first, "values read as they are written");

    must(saveSlot(playedFeatures(), serial, 3, first) == Status::Ok, "a slot is saved, whatever was there");
    Status statusAfter = Status::Ok;
    const auto after = allSlots(serial, statusAfter);
    must(statusAfter == Status::Ok, "what was saved is whole");
    must(after[3].values == first, "a slot loads as it was saved");
    for (size_t slot = 0; slot < 3; ++slot)
        must(status != Status::Ok || after[slot].values == before[slot].values, "other slots are left alone");
    LoadedSlot none;
    must(loadSlot(playedFeatures(), serial, -1, {}, none) == Status::BadArgument &&
             loadSlot(playedFeatures(), serial, kParameterSlots, {}, none) == Status::BadArgument,
         "there are four slots");
}

// ---- Frames
// ------------------------------------------------------------------------------------------------

/// Memory behind which there is none: OpenCV is not built with the sanitizers, but this ends it too.
class Fenced {
public:
    explicit Fenced(size_t size) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
        room_ = (size + page_ - 1) / page_ * page_;
        memory_ = mmap(nullptr, room_ + page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        must(memory_ != MAP_FAILED && mprotect(start() + room_, page_, PROT_NONE) == 0, "there is memory");
        data_ = start() + room_ - size;
    }
    ~Fenced() { munmap(memory_, room_ + page_); }
    Fenced(const Fenced&) = delete;
    Fenced& operator=(const Fenced&) = delete;

    uint8_t* data() { return data_; }
    /// What lies before the data, as it was.
    bool isCleanBefore() const {
        return std::all_of(start(), data_, [](uint8_t byte) { return byte == 0; });
    }

private:
    uint8_t* start() const { return static_cast<uint8_t*>(memory_); }

    size_t page_;
    size_t room_ = 0;
    void* memory_ = nullptr;
    uint8_t* data_ = nullptr;
};

constexpr uint8_t kUntouched = 0xA5;
constexpr Layout kLayouts[] = {Layout::Mono,    Layout::Rgb,     Layout::Bgr,    Layout::BayerRG,
                               Layout::BayerGR, Layout::BayerGB, Layout::BayerBG};

std::vector<uint8_t> converted(Converter& converter, const RawFrame& frame, const Tuning& tuning,
                               int channels) {
    const size_t size =
        static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height) * static_cast<size_t>(channels);
    Fenced target(size);
    must(converter.convert(frame, tuning, channels, target.data()), "a whole frame is converted");
    must(target.isCleanBefore(), "nothing is written before the picture");
    return {target.data(), target.data() + size};
}

void checkRefusals(Converter& converter, RawFrame frame, const Tuning& tuning, int channels) {
    uint8_t target[4] = {kUntouched, kUntouched, kUntouched, kUntouched};
    const auto isRefused = [&](const RawFrame& wrong, int count) {
        return !converter.convert(wrong, tuning, count, target) &&
               std::all_of(std::begin(target), std::end(target), [](uint8_t b) { return b == kUntouched; });
    };
    must(isRefused(frame, 0) && isRefused(frame, 2) && isRefused(frame, -channels),
         "a picture has 1 or 3 channels");
    RawFrame wrong = frame;
    wrong.size = static_cast<size_t>(bytesOf(frame)) - 1;
    must(isRefused(wrong, channels), "a frame that lacks a byte is none");
    wrong = frame;
    wrong.width = -frame.width;
    must(isRefused(wrong, channels) && bytesOf(wrong) == 0, "a frame has a width");
    wrong = frame;
    wrong.height = 0;
    must(isRefused(wrong, channels) && bytesOf(wrong) == 0, "a frame has a height");
    wrong = frame;
    wrong.padding = -1;
    must(isRefused(wrong, channels) && bytesOf(wrong) == 0, "no row ends before itself");
}

void checkMirrors(Converter& converter, const RawFrame& frame, Tuning tuning, int channels,
                  const std::vector<uint8_t>& picture) {
    Tuning plain = tuning;
    plain.mirrorX = plain.mirrorY = false;
    const auto straight = converted(converter, frame, plain, channels);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const int fromX = tuning.mirrorX ? frame.width - 1 - x : x;
            const int fromY = tuning.mirrorY ? frame.height - 1 - y : y;
            const auto* to = picture.data() + (y * frame.width + x) * channels;
            const auto* from = straight.data() + (fromY * frame.width + fromX) * channels;
            must(std::equal(to, to + channels, from), "a mirrored picture is the same, mirrored");
        }
    }
}

/// What needs no reckoning comes through bit for bit.
void checkPlain(Converter& converter, const RawFrame& frame, int channels) {
    const int source = channelsOf(frame.layout);
    if (frame.layout != Layout::Mono && frame.layout != Layout::Rgb && frame.layout != Layout::Bgr)
        return;
    if (source == 3 && channels == 1)
        return;
    const auto picture = converted(converter, frame, {}, channels);
    const int row = frame.width * source + frame.padding;
    for (int i = 0; i < frame.width * frame.height * channels; ++i) {
        const int pixel = i / channels;
        int channel = source == 1 ? 0 : i % channels;
        if (frame.layout == Layout::Bgr)
            channel = 2 - channel;
        must(picture[static_cast<size_t>(i)] ==
                 frame.data[pixel / frame.width * row + pixel % frame.width * source + channel],
             "a frame that is tuned in nothing stays as it is");
    }
}

void fuzzFrame(Numbers numbers) {
    static Converter kept;
    const auto shape = numbers.next<uint8_t>();
    RawFrame frame;
    frame.layout = kLayouts[shape % std::size(kLayouts)];
    const int channels = (shape & 0x80) != 0 ? 3 : 1;
    frame.width = 1 + numbers.next<uint8_t>() % 130;
    frame.height = 1 + numbers.next<uint8_t>() % 70;
    frame.padding = numbers.next<uint8_t>();
    const auto mirrors = numbers.next<uint8_t>();
    Tuning tuning;
    tuning.mirrorX = (mirrors & 1) != 0;
    tuning.mirrorY = (mirrors & 2) != 0;
    if ((mirrors & 4) != 0)
        tuning.gamma = numbers.next<double>();
    if ((mirrors & 8) != 0)
        tuning.contrast = numbers.next<double>();
    if ((mirrors & 16) != 0)
        tuning.saturation = numbers.next<double>();
    if ((mirrors & 32) != 0)
        tuning.blackLevel = numbers.next<int32_t>();

    frame.size = static_cast<size_t>(bytesOf(frame));
    Fenced data(frame.size);
    for (size_t i = 0; i < frame.size; ++i)
        data.data()[i] = numbers.atEnd() ? static_cast<uint8_t>(i * 7 + i / 31) : numbers.next<uint8_t>();
    frame.data = data.data();

    const auto picture = converted(kept, frame, tuning, channels);
    Converter fresh;
    must(converted(fresh, frame, tuning, channels) == picture, "earlier frames leave no trace");
    checkMirrors(kept, frame, tuning, channels, picture);
    checkPlain(kept, frame, channels);
    checkRefusals(kept, frame, tuning, channels);
    layoutOf(numbers.next<uint32_t>());
    // Sizes beyond all memory are reckoned, not wrapped.
    frame.width = frame.height = frame.padding = std::numeric_limits<int>::max();
    must(bytesOf(frame) > std::numeric_limits<uint64_t>::max() / 4, "a size does not wrap");
    uint8_t none = kUntouched;
    must(!kept.convert(frame, tuning, channels, &none) && none == kUntouched, "no frame is that large");
}

// ---- Numbers
// -----------------------------------------------------------------------------------------------

/// What a parameter call makes of a value and what its getter makes of a camera's answer.
void checkConversion(Conversion conversion, double value, double factor) {
    if (!std::isfinite(value) || !std::isfinite(factor))
        return;
    must(std::isfinite(toFeature(conversion, value, factor)), "a feature is given a number");
    must(std::isfinite(fromFeature(conversion, value, factor)), "a camera's answer is a number");
}

/// Values of parameters survive the way to a feature and back.
void checkThereAndBack(Conversion conversion, double value, double factor) {
    if (!isWithin(factor, 1e-6, 1e6))
        return;
    const double back = fromFeature(conversion, toFeature(conversion, value, factor), factor);
    must(std::abs(back - value) <= 1e-9 * std::abs(value), "a value comes back as it went");
}

void fuzzNumbers(Numbers numbers) {
    const double value = numbers.next<double>();
    const double factor = numbers.next<double>();
    for (const Mapping& mapping : mappings()) {
        const auto ours = accepted(mapping.parameter, value);
        must(!std::isnan(value) || !ours, "what is no number is no value");
        if (ours)
            must(std::isfinite(*ours) && accepted(mapping.parameter, *ours) == ours,
                 "a value is finite, and one itself");
        if (ours && !isReal(mapping.parameter))
            must(isWithin(*ours, 0, std::numeric_limits<int32_t>::max()) && *ours == std::floor(*ours),
                 "a whole number fits into the operation's");
        if (ours && isSwitch(mapping.parameter))
            must(*ours == 0 || *ours == 1, "a switch is on or off");
        for (const Candidate& candidate : mapping.candidates) {
            checkConversion(candidate.conversion, value, factor);
            // A gain of 0 goes as 1.
            if (ours && !(candidate.conversion == Conversion::GainFactor && *ours < 1))
                checkThereAndBack(candidate.conversion, *ours, factor);
        }
    }
    const char* const units[] = {"", "%", "s", "ms", "us", "ns", " % "};
    for (const char* unit : units) {
        must(isWithin(fullScaleOf(value, unit), 1, 65535), "a scale is one");
        must(isWithin(ticksPerMicrosecond(unit), 1e-6, 1e3), "a unit of time is one");
    }
    if (std::isfinite(value) && std::isfinite(factor)) {
        const double rate = delayedRate(value, factor);
        must(std::isfinite(rate) && rate >= 0 && rate <= std::max(value, 0.0),
             "a delay makes no rate greater");
        const double delay = delayOf(value, factor);
        must(std::isfinite(delay) && delay >= 0, "a delay is one");
        const double exposure = inPulses(value, numbers.next<uint8_t>() % 4, factor);
        must(std::isfinite(exposure), "an exposure is one");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    switch (data[0] % 4) {
        case 0:
            fuzzConfiguration(bytesOf(data + 1, size - 1));
            break;
        case 1:
            fuzzSlots(bytesOf(data + 1, size - 1));
            break;
        case 2:
            fuzzFrame(Numbers(data + 1, size - 1));
            break;
        default:
            fuzzNumbers(Numbers(data + 1, size - 1));
            break;
    }
    return 0;
}
