// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QRect>
#include <QString>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "camerafeatures.h"
#include "configuration.h"
#include "discovery.h"
#include "framequeue.h"

typedef struct _ArvCamera ArvCamera;
typedef struct _ArvStream ArvStream;

namespace kvgen {

/// A resolution mode: what is set at the camera, and the size of the frames that it then sends.
struct Mode {
    QSize size;       ///< px, as read back
    int binning = 1;  ///< pixels in a row and in a column that become one
    QRect region;     ///< sensor px; empty: all of it
};

/// Why a camera did not open.
enum class Trouble {
    None,
    Absent,    ///< no answer
    Held,      ///< another program has control
    Nonsense,  ///< it answers, and cannot be used as it is
};

/// What is kept of a camera from one opening to the next.
struct Memory {
    QByteArray serial;                        ///< whole; empty: not known yet
    QVector<Mode> modes;                      ///< empty: not known yet
    int packetSize = 0;                       ///< bytes, negotiated; 0: not yet
    std::shared_ptr<std::set<QString>> told;  ///< lines about it that the log has
    bool isReported = false;                  ///< what it does not serve was told
    int owed = 0;  ///< openings in a row that one answer was missing in, of a camera that is there
};

/// A camera that is open and under our control, and its stream. Only on the thread that has the camera, but
/// for what queue() gives; any call may block as long as Aravis does. Failures say what the camera said.
class OpenCamera {
public:
    /// How many of our cameras share an interface is in `neighbours`, this one included. `progress` is called
    /// between steps.
    struct Wishes {
        const CameraConfiguration& configuration;
        QString label;  ///< for the log: "KVCap2: camera 0 (...)"
        int neighbours = 1;
        bool isBySerial = false;  ///< another one at its address is not taken for it
        std::function<void()> progress;
    };

    /// Opens it and leaves it stopped, in mode 0. Fills in what `memory` lacks. None: `trouble`, `reason`.
    static std::unique_ptr<OpenCamera> open(const Found& found, const Wishes& wishes, Memory& memory,
                                            Trouble& trouble, QString& reason);
    /// Stops it and gives it back: at once, where the camera answers; else it takes up to 10 s.
    ~OpenCamera();
    OpenCamera(const OpenCamera&) = delete;
    OpenCamera& operator=(const OpenCamera&) = delete;

    CameraFeatures& features() { return *features_; }

    /// The reason of a camera that was Absent only later.
    static QString silent();

    /// Whether it answers, and how: reads one register.
    enum class Pulse { Alive, Silent, NotOurs };
    Pulse pulse();
    /// Whether the one who has control is us, and not another program that has taken the camera while ours
    /// stood still. To be asked after a pulse that is Alive. True: also where that cannot be told, and where
    /// it has ceased to answer.
    bool isOurs();
    /// ms from one frame to the next, as far as exposure and rate tell; 0: they do not.
    double framePeriod() const;
    /// The camera, or Aravis for it, says that we have lost control. Thread-safe.
    bool isControlLost() const { return *isControlLost_; }

    /// Begins to stream with a fresh queue, of which frames from before know nothing. Empty: done.
    QString start(bool keepsAll);
    /// Ends the stream; frames that wait in the queue are lost.
    void stop();
    bool isStreaming() const { return stream_ != nullptr; }
    /// What the first start() negotiated, bytes; 0: nothing to be remembered.
    int packetSize() const { return packetSize_; }
    /// Null: no stream. May be kept and used by any thread, also when the stream has ended.
    std::shared_ptr<FrameQueue> queue() const { return queue_; }

    /// Only while it does not stream. Empty: done, and `mode.size` is what frames have.
    QString apply(Mode& mode);
    /// Only while it does not stream: the format of the configuration, or the best one that it has.
    QString choosePixelFormat();
    /// Only while it does not stream: after the camera has loaded what somebody has left in its memory.
    QString setUpAgain();

private:
    /// Bytes that are counted as taken while it lives.
    class Share {
    public:
        /// None: there is not that much left for all cameras.
        static std::unique_ptr<Share> of(int64_t bytes);
        ~Share();
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

    private:
        explicit Share(int64_t bytes) : bytes_(bytes) {}
        const int64_t bytes_;
    };

    OpenCamera(ArvCamera* camera, const QByteArray& name, const Wishes& wishes);

    QString prepare(const QByteArray& localAddress, Memory& memory, Trouble& trouble);
    void setUp();
    QByteArray readSerial() const;
    QString findModes(Memory& memory);
    void preparePackets(const QByteArray& localAddress, const Memory& memory);
    bool has(const char* feature) const;
    bool setInteger(const char* feature, int64_t value);
    int64_t integer(const char* feature, int64_t otherwise) const;
    QString setRegion(const QRect& region);
    QString readSize(QSize& size) const;
    QString readPayload(QSize& size, int64_t& payload) const;
    QString makeStream();
    void settlePackets();
    void keepPackets();
    void noteMaster();
    std::optional<uint64_t> readMaster() const;
    void tell(const QString& text);

    ArvCamera* camera_;
    const QByteArray name_;
    const CameraConfiguration configuration_;
    const QString label_;
    const int neighbours_;
    const bool isBySerial_;
    std::function<void()> progress_;
    std::unique_ptr<CameraFeatures> features_;
    std::shared_ptr<std::atomic<bool>> isControlLost_;
    ArvStream* stream_ = nullptr;
    std::shared_ptr<FrameQueue> queue_;
    int mtu_ = 0;  // bytes; 0: not a network camera
    bool isLoopback_ = false;
    int64_t linkSpeed_ = 0;    // bit/s
    int packetSize_ = 0;       // bytes; 0: not settled
    int64_t packetDelay_ = 0;  // ns; settled with the size
    bool isStopped_ = false;   // acquisition
    std::unique_ptr<Share> memory_;
    std::shared_ptr<std::set<QString>> told_;
    std::optional<uint64_t> master_;     // who has control: we
    std::optional<uint32_t> heartbeat_;  // ms, for writing it
};

}  // namespace kvgen
