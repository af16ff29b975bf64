// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <functional>

#include "status.h"

typedef struct _ArvDevice ArvDevice;
typedef struct _ArvGcFeatureNode ArvGcFeatureNode;
typedef struct _GError GError;

namespace kvgen {

/// What an error of Aravis means: the camera has gone or belongs to another program (Disconnected), or it
/// refuses (DeviceFailure). Null: Ok.
Status statusOf(const GError* error);

/// One feature of a camera, told apart by what its node is. A light handle: looked up when made, valid as
/// long as the device. Only on the thread that has the camera; everything but kind() and unit() may ask it.
/// Never throws; what a camera's description lacks counts as absent.
class FeatureNode {
public:
    enum class Kind {
        None,  ///< there is no feature of that name, or it has no value
        Real,
        Integer,
        Enumeration,
        Boolean,
        Command,
    };
    struct Bounds {
        double low;
        double high;
    };

    /// `answered` is called whenever the camera has let a value be read or written; it outlives this.
    FeatureNode(ArvDevice* device, const QByteArray& name, const std::function<void()>* answered = nullptr);

    Kind kind() const { return kind_; }
    bool isNumber() const { return kind_ == Kind::Real || kind_ == Kind::Integer; }
    /// Implemented, and available now.
    bool isAvailable() const;
    bool isImplemented() const;
    /// By its nature; it can be locked meanwhile all the same.
    bool isWritable() const;
    Status readLock(bool& isLocked, QByteArray& reason) const;
    /// Of a number: "dB", "us", "%"; may be empty.
    QByteArray unit() const;

    /// Without bounds of its own: as far as numbers go.
    Status bounds(Bounds& bounds, QByteArray& reason) const;
    /// A number, or a Boolean as 0 and 1.
    Status read(double& value, QByteArray& reason) const;
    /// A number is brought into the bounds, which `isBounded` then says, and, an integer, to the nearest
    /// step.
    Status write(double value, QByteArray& reason, bool* isBounded = nullptr) const;

    /// Of an enumeration.
    bool hasEntry(const QByteArray& entry) const;
    Status readEntry(QByteArray& entry, QByteArray& reason) const;
    Status writeEntry(const QByteArray& entry, QByteArray& reason) const;

    Status execute(QByteArray& reason) const;

private:
    Status noted(Status status) const;
    Status writeInteger(double value, const Bounds& bounds, QByteArray& reason) const;

    ArvDevice* device_;
    QByteArray name_;
    ArvGcFeatureNode* node_ = nullptr;  // the device's
    Kind kind_ = Kind::None;
    const std::function<void()>* answered_;
};

}  // namespace kvgen
