// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <array>
#include <functional>
#include <map>
#include <optional>

#include "configuration.h"
#include "mapping.h"
#include "status.h"

typedef struct _ArvCamera ArvCamera;
typedef struct _ArvDevice ArvDevice;

namespace kvgen {

class FeatureNode;

/// The features of one open camera, by our parameters. Every call speaks to the camera and may block as long
/// as Aravis does: only on the thread that has the camera. Which candidate serves a parameter is found out
/// when it is asked for first: a slow camera would take seconds for all of them.
class CameraFeatures {
public:
    /// `camera` outlives this. Writes the configuration's frame rate where it has one; nothing else.
    /// `answered` is called whenever the camera has let something be read or written.
    CameraFeatures(ArvCamera* camera, const CameraConfiguration& configuration,
                   std::function<void()> answered = {});

    /// Whether the camera has it and lets it be written, be it only while it does not stream.
    bool has(Parameter parameter);
    /// The feature that serves, empty if none does.
    QByteArray featureOf(Parameter parameter);
    /// Whether writing has to wait until acquisition is stopped: the camera has locked the feature.
    bool isLocked(Parameter parameter);

    /// Values are ours (Booleans 0 and 1). A value beyond the camera's range is brought into it (Ok).
    /// What the camera lacks: Unsupported, nothing is changed. Not a number, no valid choice: BadArgument. No
    /// answer from the camera: Disconnected; any other refusal, a locked feature too: DeviceFailure.
    ///
    /// An exposure or gain that is written while its automatic is on is overruled by that (Ok). Anti-flicker,
    /// high speed and delay are kept here and belong to this object: the exposure is rounded at each write,
    /// and the greatest rate is asked for at each write of high speed and delay. The delay comes on top of
    /// the frame time or the exposure, whichever is longer, also of an exposure that is written later.
    Status read(Parameter parameter, double& value);
    Status write(Parameter parameter, double value);
    /// Of the last write that was Ok: the camera has got the value itself, but for its own steps. Else it was
    /// brought into the camera's range, or left to an automatic.
    bool isAsAsked() const { return isAsAsked_; }
    /// The rate that Delay and Highspeed start from, frames a second; 0 where the camera has no such feature.
    double baseRate();

    /// Releases one frame by software. WrongMode in continuous mode and where a line triggers.
    Status shoot();

    /// The camera's own memory: UserSet1, UserSet2 ... by `number`. Acquisition is stopped. Unsupported: the
    /// camera has no such set, or none that can be written. After a load anti-flicker, high speed and delay
    /// are off here, whatever the exposure and the rate were that the camera has stored: write them again.
    bool hasUserSet(int number) const;
    Status saveUserSet(int number);
    Status loadUserSet(int number);

    /// What the camera or Aravis said at the last call that was not Ok, for the log; may be empty.
    QByteArray reason() const { return reason_; }

private:
    /// How a parameter is served.
    struct Serving {
        int candidate = -1;  // index in the mapping, -1: none
        Conversion conversion = Conversion::Same;
        double factor = 1;    // of linear conversions: feature = factor * ours
        QByteArray selector;  // feature and the entry to choose in it, or empty
        QByteArray entry;
    };

    const Candidate* candidateOf(Parameter parameter);
    const Serving& servingOf(Parameter parameter);
    Serving found(Parameter parameter);
    bool serves(const Candidate& candidate, Serving& serving);
    QByteArray enablingOf(const Candidate& candidate) const;
    void fitConversion(Serving& serving, const FeatureNode& node) const;
    void prepareRate();

    FeatureNode nodeOf(const QByteArray& name) const;
    Status select(const Serving& serving);
    Status choose(const QByteArray& selector, const QByteArray& entry);
    Status writeNumber(const FeatureNode& node, double value);
    Status enable(const QByteArray& name, bool on);
    bool isOverruled(Parameter parameter);
    Status writeExposure(double value);
    Status takeOverExposure();
    Status writeAntiFlicker(int mode);
    Status writeRate(bool highspeed, double delay);
    Status followExposure();
    Status writeTrigger(bool on);
    Status readRate(Parameter parameter, double& value);
    Status runUserSet(int number, const char* command);

    ArvCamera* camera_;
    ArvDevice* device_;
    const CameraConfiguration configuration_;
    std::array<std::optional<Serving>, kParameters> serving_;  // none: not found out yet
    std::map<QByteArray, QByteArray> chosen_;                  // entries of selectors, as last written
    std::function<void()> answered_;
    QByteArray reason_;
    bool isAsAsked_ = true;

    double baseRate_ = 0;      // frames a second
    bool isRateFree_ = false;  // the base rate is what the camera makes of itself, its rate control off
    bool isHighspeed_ = false;
    double delay_ = 0;           // ms
    double startRate_ = 0;       // frames a second: the rate that the last delay was added to
    int antiFlicker_ = 0;        // 0, 1, 2
    double wantedExposure_ = 0;  // ours, before it was rounded to pulses
};

}  // namespace kvgen
