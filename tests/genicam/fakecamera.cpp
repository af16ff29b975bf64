// SPDX-License-Identifier: Apache-2.0
#include "fakecamera.h"

#include <QFile>
#include <QTemporaryFile>
#include <QtEndian>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstring>

#include "fakehooks.h"
#include "fakeregisters.h"
#include "fakexml.h"

namespace fake {

namespace {

std::atomic<FakeCamera*> one = nullptr;  // the server has begun by then

struct Range {
    uint32_t begin;
    uint32_t size;  // bytes
};

/// Where a camera keeps what a user set holds. What others follow from comes first.
QVector<Range> userSetOf(UserSets sets) {
    switch (sets) {
        case UserSets::Little:
            return {{reg::kExposure, 8}, {reg::kExposureRaw, 4}, {reg::kGain, 8}, {reg::kGainRaw, 4}};
        case UserSets::Usual:
            break;
        case UserSets::All:
            return {{reg::kUserBegin, reg::kUserEnd - reg::kUserBegin},
                    {reg::kBinningX, 4},
                    {reg::kBinningY, 4},
                    {reg::kWidth, 4},
                    {reg::kHeight, 4},
                    {reg::kOffsetX, 4},
                    {reg::kOffsetY, 4},
                    {reg::kAcquisitionMode, 4},
                    {reg::kTriggerMode, 4},
                    {reg::kTriggerSource, 4},
                    {reg::kPacketSize, 4},
                    {reg::kPacketDelay, 4}};
    }
    return {{reg::kUserBegin, reg::kUserEnd - reg::kUserBegin}};
}

bool isAutomatic(uint32_t mode) {
    return mode == reg::kOnce || mode == reg::kContinuous;
}

}  // namespace

FakeCamera* FakeCamera::theOne() {
    return one;
}

FakeCamera::FakeCamera(const Options& options) : options_(options), sensor_(options) {
    // Read when the server is made. This process is killed more often than it ends, and would leave it.
    QTemporaryFile xml;
    QString file = options_.xmlFile;
    if (file.isEmpty() && xml.open()) {
        xml.write(description(options_));
        xml.flush();
        file = xml.fileName();
    }
    server_ = arv_gv_fake_camera_new_full(options_.address.toLatin1().constData(),
                                          options_.serial.constData(), file.toLocal8Bit().constData());
    registers_ = arv_gv_fake_camera_get_fake_camera(server_);
    prepareRegisters();
    arv_fake_camera_set_fill_pattern(registers_, fill, this);
    arv_fake_camera_set_trigger_frequency(registers_, 100);
    g_object_set(server_, "gvsp-lost-ratio", options_.loss, nullptr);
    one = this;
}

FakeCamera::~FakeCamera() {
    one = nullptr;
    g_object_unref(server_);
}

bool FakeCamera::isRunning() const {
    return arv_gv_fake_camera_is_running(server_) != FALSE;
}

uint32_t FakeCamera::number(uint32_t address) const {
    uchar bytes[4] = {};
    readRegisters(registers_, address, sizeof bytes, bytes);
    return qFromBigEndian<quint32>(bytes);
}

double FakeCamera::real(uint32_t address) const {
    uchar bytes[8] = {};
    readRegisters(registers_, address, sizeof bytes, bytes);
    const quint64 bits = qFromBigEndian<quint64>(bytes);
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void FakeCamera::setNumber(uint32_t address, uint32_t value) {
    uchar bytes[4];
    qToBigEndian<quint32>(value, bytes);
    writeRegisters(registers_, address, sizeof bytes, bytes);
}

void FakeCamera::setReal(uint32_t address, double value) {
    quint64 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    uchar bytes[8];
    qToBigEndian<quint64>(bits, bytes);
    writeRegisters(registers_, address, sizeof bytes, bytes);
}

void FakeCamera::prepareRegisters() {
    const auto text = [this](uint32_t address, const QByteArray& value, int size) {
        const QByteArray bytes = value.leftJustified(size, '\0', true);
        writeRegisters(registers_, address, static_cast<uint32_t>(size), bytes.constData());
    };
    text(reg::kVendorName, "Tests", 32);
    text(reg::kModelName, options_.model, 32);
    setNumber(reg::kSensorWidth, static_cast<uint32_t>(options_.width));
    setNumber(reg::kSensorHeight, static_cast<uint32_t>(options_.height));
    setNumber(reg::kWidth,
              static_cast<uint32_t>(options_.garbageSize >= 0 ? options_.garbageSize : options_.width));
    setNumber(reg::kHeight, static_cast<uint32_t>(options_.height));
    setNumber(reg::kPixelFormat, formatOf(options_.formats.first())->code);
    setReal(reg::kExposure, options_.exposure);
    setReal(reg::kGamma, 1);
    setReal(reg::kRate, options_.rate);
    setReal(reg::kBrightness, 0.5);
    setReal(reg::kSaturation, 1);
    setNumber(reg::kExposureRaw, static_cast<uint32_t>(options_.exposure));
    setNumber(reg::kGammaEnable, 1);
    setNumber(reg::kRateEnable, 1);
    setNumber(reg::kTargetGrey, 128);
    setNumber(reg::kTargetPercent, 50);
    setNumber(reg::kTriggerSource, reg::kSourceSoftware);
    startTrigger_ = options_.isLeftBehind ? 1 : 0;
    setNumber(reg::kExposureMode, options_.isLeftBehind ? reg::kTriggerWidth : reg::kTimed);
    if (options_.sentWidth > 0) {
        setNumber(reg::kSaidWidth, static_cast<uint32_t>(options_.width));
        setNumber(reg::kWidth, static_cast<uint32_t>(options_.sentWidth));
    }
    pace();
    userSets_.fill(readUserSet());
}

QByteArray FakeCamera::readUserSet() const {
    QByteArray all;
    for (const Range& range : userSetOf(options_.userSets)) {
        QByteArray bytes(static_cast<int>(range.size), '\0');
        readRegisters(registers_, range.begin, range.size, bytes.data());
        all += bytes;
    }
    return all;
}

void FakeCamera::writeUserSet(const QByteArray& kept) {
    int at = 0;
    for (const Range& range : userSetOf(options_.userSets)) {
        writeRegisters(registers_, range.begin, range.size, kept.constData() + at);
        at += static_cast<int>(range.size);
    }
}

/// While it streams, and by what the description says.
bool FakeCamera::isLocked(uint32_t address) const {
    const bool isMirror = address == reg::kReverseX || address == reg::kReverseY;
    const bool isGain = address == reg::kGain || address == reg::kGainRaw;
    return number(reg::kAcquisition) != 0 && ((isMirror && options_.locked.contains("mirrors")) ||
                                              (isGain && options_.locked.contains("gain")));
}

/// By what the options or the file say, whatever it does.
bool FakeCamera::isRefused(uint32_t address, uint32_t size, const uint8_t* data) {
    const auto name = [&]() -> const char* {
        switch (address) {
            case reg::kPrivilege:
                return "control";
            case reg::kPacketSize:
                return "packet-size";
            case reg::kPacketDelay:
                return "packet-delay";
            case reg::kHeartbeat:
                return "heartbeat";
            case reg::kPixelFormat:
                return "format";
            case reg::kWidth:
                return "width";
            case reg::kOffsetX:
                return "offset";
            case reg::kBinningX:
                return "binning";
            case reg::kAcquisition:
                return size == 4 && qFromBigEndian<quint32>(data) != 0 ? "start" : "stop";
            case reg::kUserSetSave:
            case reg::kUserSetLoad:
                return "user-set";
            case reg::kTriggerMode:
                return "trigger";
            case reg::kGain:
                return "gain";
            default:
                return nullptr;
        }
    };
    if (name() == nullptr)
        return false;
    const QByteArray what = name();
    if (isTroubled(what + '!'))
        silentOver_ = what + '!';
    isOwed_ = isTroubled(what + '?');
    return isTroubled(what) || options_.refused.contains(QString::fromLatin1(what));
}

bool FakeCamera::isTroubled(const QByteArray& line) const {
    QFile file(options_.troubleFile);
    return !options_.troubleFile.isEmpty() && file.open(QIODevice::ReadOnly) &&
           file.readAll().split('\n').contains(line);
}

bool FakeCamera::isSilent() {
    if (!silentOver_.isEmpty() && !isTroubled(silentOver_))
        silentOver_.clear();
    return !silentOver_.isEmpty() || std::chrono::steady_clock::now() < silentUntil_;
}

bool FakeCamera::takeOwed() {
    return std::exchange(isOwed_, false);
}

/// On the thread of the server, before the request is carried out.
FakeCamera::Answer FakeCamera::answerTo(const Asker& asker) {
    asker_ = asker;
    if (isSilent())
        return Answer::None;
    if (requests_ == 0)
        return Answer::Usual;
    ++requests_;
    if (requests_ == options_.silentAt) {
        silentUntil_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(options_.silentFor);
        return Answer::None;
    }
    return requests_ == options_.refusesAt ? Answer::Refusal : Answer::Usual;
}

/// Such as it is to be sent: the headers of IP and UDP count.
void FakeCamera::fireTestPacket(uint32_t packetSize) {
    if (firstTestSize_ == 0)
        firstTestSize_ = packetSize;
    constexpr uint32_t kHeaders = 28;
    if (packetSize == firstTestSize_ || packetSize <= kHeaders)
        return;
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(static_cast<uint16_t>(number(reg::kStreamPort)));
    target.sin_addr.s_addr = htonl(number(reg::kStreamAddress));
    const QByteArray packet(static_cast<int>(packetSize - kHeaders), '\0');
    // What does not get through is what it is for.
    static_cast<void>(::sendto(handle, packet.constData(), static_cast<size_t>(packet.size()), 0,
                               reinterpret_cast<const sockaddr*>(&target), sizeof target));
    close(handle);
}

bool FakeCamera::write(uint32_t address, uint32_t size, const uint8_t* data) {
    static const uint32_t kLocked[] = {reg::kWidth,   reg::kHeight,  reg::kBinningX,   reg::kBinningY,
                                       reg::kOffsetX, reg::kOffsetY, reg::kPixelFormat};
    const bool isOfSize = std::find(std::begin(kLocked), std::end(kLocked), address) != std::end(kLocked);
    if ((isOfSize && number(reg::kAcquisition) != 0) || isLocked(address) || isRefused(address, size, data))
        return false;
    if (address == reg::kAcquisition && options_.sendsNothing)
        return true;
    // A size that no memory holds is never sent, and cannot be mended.
    if ((address == reg::kAcquisition || address == reg::kWidth) && options_.garbageSize >= 0)
        return false;
    const bool isMirror = address == reg::kReverseX || address == reg::kReverseY;
    if (options_.hasSilentLock && isMirror && number(reg::kAcquisition) != 0)
        return false;
    if (isStartTrigger(address) && size == 4) {
        startTrigger_ = qFromBigEndian<quint32>(data);
        return true;
    }
    const uint32_t before = size == 4 ? number(address) : 0;
    if (!writeRegisters(registers_, address, size, data))
        return false;
    settle(address, before);
    return true;
}

/// Whether the register is one of those that tell who has control.
bool FakeCamera::readMaster(uint32_t address, uint32_t& value) const {
    if (options_.master == Master::Untold)
        return false;
    const bool isTold = options_.master == Master::Told;
    switch (address) {
        case reg::kCapability:
            value = number(address) | reg::kTellsMaster;
            return true;
        case reg::kMasterPort:
            value = isTold ? master_.port : 0;
            return true;
        case reg::kMasterAddress:
            value = isTold ? master_.address : 0;
            return true;
        default:
            return false;
    }
}

bool FakeCamera::read(uint32_t address, uint32_t size, void* data) {
    uint32_t value = 0;
    if (size == 4 && readMaster(address, value)) {
        qToBigEndian<quint32>(value, data);
        return true;
    }
    if (isStartTrigger(address) && size == 4) {
        qToBigEndian<quint32>(startTrigger_, data);
        return true;
    }
    return readRegisters(registers_, address, size, data);
}

/// The trigger mode of what the selector says.
bool FakeCamera::isStartTrigger(uint32_t address) const {
    return options_.isLeftBehind && address == reg::kTriggerMode &&
           number(reg::kTriggerSelector) == reg::kAcquisitionStart;
}

bool FakeCamera::isHeldBack() const {
    return startTrigger_ != 0 || number(reg::kExposureMode) != reg::kTimed;
}

/// What follows from a register that was written.
void FakeCamera::settle(uint32_t address, uint32_t before) {
    switch (address) {
        case reg::kTriggerSoftware:
            if (number(reg::kTriggerMode) == 1 && number(reg::kTriggerSource) == reg::kSourceSoftware)
                ++shots_;
            setNumber(reg::kTriggerSoftware, 0);
            break;
        case reg::kPrivilege:
            // Also Aravis's fake writes it, when a heartbeat stays away.
            master_ = (number(address) & reg::kHeldBits) != 0 ? asker_ : Asker();
            requests_ = std::max(requests_, master_.port != 0 ? 1 : 0);
            break;
        case reg::kPacketSize:
            if (options_.hasTestPackets && (number(address) & reg::kFireTestPacket) != 0) {
                setNumber(address, number(address) & ~reg::kFireTestPacket);
                fireTestPacket(number(address) & 0xFFFF);
            }
            break;
        case reg::kTriggerMode:
        case reg::kTriggerSource:
        case reg::kAcquisition:
            shots_ = 0;
            break;
        case reg::kReverseX:
        case reg::kReverseY:
            mirrorPhase(address, before);
            break;
        case reg::kBinningX:
        case reg::kBinningY: {
            const bool isX = address == reg::kBinningX;
            const uint32_t side = isX ? reg::kWidth : reg::kHeight;
            const uint32_t sensor = number(isX ? reg::kSensorWidth : reg::kSensorHeight);
            setNumber(address, std::max(1U, number(address)));
            setNumber(side, std::min(number(side), sensor / number(address)));
            setNumber(isX ? reg::kOffsetX : reg::kOffsetY, 0);
            break;
        }
        case reg::kUserSetSave:
        case reg::kUserSetLoad:
            loadUserSet();
            break;
        case reg::kExposure:
        case reg::kExposureRaw:
        case reg::kRate:
        case reg::kRateEnable:
            pace();
            break;
        default:
            break;
    }
}

/// The pattern moves when a row or column is read from its other end, where the camera is made that way.
void FakeCamera::mirrorPhase(uint32_t address, uint32_t before) {
    const Format* format = formatOf(number(reg::kPixelFormat));
    if (!options_.mirrorChangesPhase || !format || !format->isBayer() ||
        (before != 0) == (number(address) != 0))
        return;
    setNumber(reg::kPixelFormat, shifted(*format, address == reg::kReverseX, address == reg::kReverseY).code);
}

/// Carries out the command whose register is set.
void FakeCamera::loadUserSet() {
    const uint32_t slot = number(reg::kUserSetSelector) & 3U;
    QByteArray& kept = userSets_[slot];
    if (number(reg::kUserSetSave) != 0 && slot != 0)
        kept = readUserSet();
    if (number(reg::kUserSetLoad) != 0) {
        const uint32_t mirrorX = number(reg::kReverseX);
        const uint32_t mirrorY = number(reg::kReverseY);
        writeUserSet(kept);
        mirrorPhase(reg::kReverseX, mirrorX);
        mirrorPhase(reg::kReverseY, mirrorY);
        pace();
    }
    setNumber(reg::kUserSetSave, 0);
    setNumber(reg::kUserSetLoad, 0);
}

/// The rate that is asked for, as far as the exposure lets it.
void FakeCamera::pace() {
    const double rate = number(reg::kRateEnable) != 0 ? real(reg::kRate) : options_.fastestRate;
    const double period = std::max(1e6 / qBound(0.01, rate, options_.fastestRate), exposureTime());
    setNumber(reg::kFramePeriod, static_cast<uint32_t>(period));
}

double FakeCamera::exposureTime() const {
    return options_.names == Names::Raw ? number(reg::kExposureRaw) : real(reg::kExposure);
}

double FakeCamera::gain() const {
    return options_.names == Names::Standard ? real(reg::kGain) : number(reg::kGainRaw) / 10.0;
}

double FakeCamera::target() const {
    if (options_.has("aetarget-grey"))
        return number(reg::kTargetGrey);
    if (options_.has("aetarget-percent"))
        return number(reg::kTargetPercent) * 2.55;
    return real(reg::kBrightness) * 255;
}

Exposure FakeCamera::exposure() const {
    Exposure result;
    result.width = static_cast<int>(number(reg::kWidth));
    result.height = static_cast<int>(number(reg::kHeight));
    result.offsetX = static_cast<int>(number(reg::kOffsetX));
    result.offsetY = static_cast<int>(number(reg::kOffsetY));
    result.binningX = static_cast<int>(number(reg::kBinningX));
    result.binningY = static_cast<int>(number(reg::kBinningY));
    result.mirrorX = number(reg::kReverseX) != 0;
    result.mirrorY = number(reg::kReverseY) != 0;
    result.format = number(reg::kPixelFormat);
    result.development.factor =
        factorOf(exposureTime(), gain(), static_cast<int>(std::min(number(reg::kDigitalShift), 8U)));
    result.development.blackLevel =
        options_.names == Names::Standard ? real(reg::kBlackLevel) : number(reg::kBlackLevelRaw);
    result.development.gamma = number(reg::kGammaEnable) != 0 ? real(reg::kGamma) : 1;
    result.development.saturation = real(reg::kSaturation);
    return result;
}

bool FakeCamera::takeTrigger() {
    if (isHeldBack())
        return false;
    if (number(reg::kTriggerSource) != reg::kSourceSoftware) {
        const auto now = std::chrono::steady_clock::now();
        if (options_.lineRate <= 0 || now - lastPulse_ < std::chrono::duration<double>(1 / options_.lineRate))
            return false;
        lastPulse_ = now;
        return true;
    }
    if (shots_ <= 0)
        return false;
    --shots_;
    return true;
}

void FakeCamera::fill(ArvBuffer* buffer, void* camera, guint32, guint32, ArvPixelFormat) {
    size_t size = 0;  // says 0 at this time, but Aravis has seen to it that a frame fits
    auto* pixels = static_cast<uint8_t*>(const_cast<void*>(arv_buffer_get_data(buffer, &size)));
    static_cast<FakeCamera*>(camera)->fillBuffer(pixels);
}

void FakeCamera::fillBuffer(uint8_t* pixels) {
    const Exposure now = exposure();
    const QByteArray& picture = sensor_.picture(now);
    std::memcpy(pixels, picture.constData(), static_cast<size_t>(picture.size()));
    const Format* format = formatOf(now.format);
    if (format) {
        ++frames_;
        stamp(pixels, now.width, now.height, *format, frames_, options_.stampsTime ? steadyTime() : frames_);
    }
    setNumber(reg::kFrames, frames_);
    steer();
}

/// One step of the automatics towards their target, after each frame.
void FakeCamera::steer() {
    const uint32_t exposureMode = number(reg::kExposureAuto);
    const uint32_t gainMode = number(reg::kGainAuto);
    if (!isAutomatic(exposureMode) && !isAutomatic(gainMode))
        return;
    const Exposure now = exposure();
    const double level = developed(toLevel(sensor_.meanLight()), now.development);
    double step = (target() + 1) / (level + 1);
    if (std::abs(step - 1) < 0.01) {
        if (exposureMode == reg::kOnce)
            setNumber(reg::kExposureAuto, reg::kOff);
        if (gainMode == reg::kOnce)
            setNumber(reg::kGainAuto, reg::kOff);
        return;
    }
    step = std::sqrt(step);
    if (isAutomatic(exposureMode)) {
        const double time = qBound(20.0, exposureTime() * step, 900000 / options_.rate);
        setReal(reg::kExposure, time);
        setNumber(reg::kExposureRaw, static_cast<uint32_t>(time));
        pace();
    } else {
        const double decibels = qBound(0.0, gain() + 20 * std::log10(step), 36.0);
        setReal(reg::kGain, decibels);
        setNumber(reg::kGainRaw, static_cast<uint32_t>(std::lround(10 * decibels)));
    }
}

}  // namespace fake
