// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arv.h>

#include <QByteArray>

#include <array>
#include <chrono>

#include "fakeoptions.h"
#include "fakesensor.h"

namespace fake {

/// Who sends a request.
struct Asker {
    uint32_t address = 0;  ///< IPv4
    uint16_t port = 0;
};

/// One GigE Vision camera in this process: Aravis's fake one for the protocol, with our description, our
/// pictures and registers that act. There is one at most; Aravis's thread comes to it by the functions of
/// fakehooks.cpp, so whatever a register does is done when its write is answered.
class FakeCamera {
public:
    explicit FakeCamera(const Options& options);
    ~FakeCamera();
    FakeCamera(const FakeCamera&) = delete;
    FakeCamera& operator=(const FakeCamera&) = delete;

    /// Whether it listens on its address.
    bool isRunning() const;

    /// The one that there is, or null.
    static FakeCamera* theOne();
    /// What a write from the network does. False: it does nothing.
    bool write(uint32_t address, uint32_t size, const uint8_t* data);
    bool read(uint32_t address, uint32_t size, void* data);
    /// A request has come from there. Whether it is to be answered, and how.
    enum class Answer { Usual, Refusal, None };
    Answer answerTo(const Asker& asker);
    /// It does not answer just now, also what it has carried out.
    bool isSilent();
    /// Whether the request that was carried out last has no answer, which is asked once.
    bool takeOwed();
    /// Whether it sends no frame, whatever triggers one.
    bool isHeldBack() const;
    /// Whether a frame is due in triggered mode; it counts as sent.
    bool takeTrigger();
    const Options& options() const { return options_; }

private:
    static void fill(ArvBuffer* buffer, void* camera, guint32, guint32, ArvPixelFormat);
    void fillBuffer(uint8_t* pixels);
    void steer();
    void prepareRegisters();
    bool isStartTrigger(uint32_t address) const;
    bool isTroubled(const QByteArray& line) const;
    bool isRefused(uint32_t address, uint32_t size, const uint8_t* data);
    bool readMaster(uint32_t address, uint32_t& value) const;
    void fireTestPacket(uint32_t packetSize);
    void settle(uint32_t address, uint32_t before);
    void pace();
    void mirrorPhase(uint32_t address, uint32_t before);
    void loadUserSet();
    Exposure exposure() const;
    double exposureTime() const;
    double gain() const;
    double target() const;

    uint32_t number(uint32_t address) const;
    double real(uint32_t address) const;
    void setNumber(uint32_t address, uint32_t value);
    void setReal(uint32_t address, double value);

    const Options options_;
    Sensor sensor_;
    ArvGvFakeCamera* server_ = nullptr;
    ArvFakeCamera* registers_ = nullptr;
    QByteArray readUserSet() const;
    void writeUserSet(const QByteArray& kept);
    bool isLocked(uint32_t address) const;

    std::array<QByteArray, 4> userSets_;
    uint32_t frames_ = 0;
    uint32_t startTrigger_ = 0;  // mode of the trigger AcquisitionStart
    int shots_ = 0;
    Asker asker_;       // of the request that is being answered
    Asker master_;      // who has control; port 0: nobody
    int requests_ = 0;  // since somebody first had it
    std::chrono::steady_clock::time_point silentUntil_;
    bool isOwed_ = false;
    QByteArray silentOver_;       // a line of the file of troubles, as long as it stands there
    uint32_t firstTestSize_ = 0;  // bytes
    std::chrono::steady_clock::time_point lastPulse_;
};

}  // namespace fake
