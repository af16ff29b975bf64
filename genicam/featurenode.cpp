// SPDX-License-Identifier: Apache-2.0
#include "featurenode.h"

#include <arv.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "accesses.h"

namespace kvgen {

namespace {

/// An error to be filled in by a call.
class Failure {
public:
    Failure() = default;
    ~Failure() {
        if (isUsed_)
            countAccess(error_);
        g_clear_error(&error_);
    }
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;

    operator GError**() {
        isUsed_ = true;
        return &error_;
    }
    Status status(QByteArray& reason) const {
        if (error_ != nullptr)
            reason = error_->message;
        return statusOf(error_);
    }

private:
    GError* error_ = nullptr;
    bool isUsed_ = false;
};

/// The largest that is safe to turn into an integer of 64 bits.
constexpr double kGreatestWhole = 9.2e18;
/// What reckoning forth and back makes of a number, as a share of it.
constexpr double kNothing = 1e-9;

int64_t whole(double value) {
    return static_cast<int64_t>(std::llround(std::clamp(value, -kGreatestWhole, kGreatestWhole)));
}

FeatureNode::Kind kindOf(ArvGcFeatureNode* node) {
    // An enumeration is an integer too, and a Boolean may be: the narrow ones first.
    if (ARV_IS_GC_ENUMERATION(node))
        return FeatureNode::Kind::Enumeration;
    if (ARV_IS_GC_BOOLEAN(node))
        return FeatureNode::Kind::Boolean;
    if (ARV_IS_GC_COMMAND(node))
        return FeatureNode::Kind::Command;
    if (ARV_IS_GC_FLOAT(node))
        return FeatureNode::Kind::Real;
    if (ARV_IS_GC_INTEGER(node))
        return FeatureNode::Kind::Integer;
    return FeatureNode::Kind::None;
}

}  // namespace

Status statusOf(const GError* error) {
    if (error == nullptr)
        return Status::Ok;
    if (error->domain != ARV_DEVICE_ERROR)
        return Status::DeviceFailure;
    switch (error->code) {
        case ARV_DEVICE_ERROR_TIMEOUT:
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
        case ARV_DEVICE_ERROR_NOT_FOUND:
        case ARV_DEVICE_ERROR_NOT_CONTROLLER:
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
            return Status::Disconnected;
        default:
            return Status::DeviceFailure;
    }
}

FeatureNode::FeatureNode(ArvDevice* device, const QByteArray& name, const std::function<void()>* answered)
    : device_(device), name_(name), answered_(answered) {
    if (name.isEmpty())
        return;
    ArvGcNode* node = arv_device_get_feature(device, name.constData());
    if (node == nullptr || !ARV_IS_GC_FEATURE_NODE(node))
        return;
    node_ = ARV_GC_FEATURE_NODE(node);
    kind_ = kindOf(node_);
}

/// Only what was read or written is sure to have come from the camera.
Status FeatureNode::noted(Status status) const {
    if (status == Status::Ok && answered_ != nullptr && *answered_)
        (*answered_)();
    return status;
}

bool FeatureNode::isAvailable() const {
    return isImplemented() && arv_gc_feature_node_is_available(node_, Failure()) != FALSE;
}

bool FeatureNode::isImplemented() const {
    return kind_ != Kind::None && arv_gc_feature_node_is_implemented(node_, Failure()) != FALSE;
}

bool FeatureNode::isWritable() const {
    if (kind_ == Kind::None)
        return false;
    const ArvGcAccessMode mode = arv_gc_feature_node_get_actual_access_mode(node_);
    return mode == ARV_GC_ACCESS_MODE_RW || (kind_ == Kind::Command && mode == ARV_GC_ACCESS_MODE_WO);
}

Status FeatureNode::readLock(bool& isLocked, QByteArray& reason) const {
    Failure failure;
    isLocked = kind_ != Kind::None && arv_gc_feature_node_is_locked(node_, failure) != FALSE;
    return failure.status(reason);
}

QByteArray FeatureNode::unit() const {
    if (kind_ == Kind::Real)
        return arv_gc_float_get_unit(ARV_GC_FLOAT(node_));
    if (kind_ == Kind::Integer)
        return arv_gc_integer_get_unit(ARV_GC_INTEGER(node_));
    return {};
}

Status FeatureNode::bounds(Bounds& bounds, QByteArray& reason) const {
    constexpr double kNoBound = std::numeric_limits<double>::max();
    bounds = {-kNoBound, kNoBound};
    Failure low;
    Failure high;
    Bounds found = bounds;
    if (kind_ == Kind::Real) {
        found.low = arv_gc_float_get_min(ARV_GC_FLOAT(node_), low);
        found.high = arv_gc_float_get_max(ARV_GC_FLOAT(node_), high);
    } else if (kind_ == Kind::Integer) {
        found.low = static_cast<double>(arv_gc_integer_get_min(ARV_GC_INTEGER(node_), low));
        found.high = static_cast<double>(arv_gc_integer_get_max(ARV_GC_INTEGER(node_), high));
    }
    // Only a camera that is gone ends it: a description without bounds, or with some that cannot be read, is
    // met.
    QByteArray text;
    const Status lowStatus = low.status(text);
    const Status highStatus = high.status(text);
    if (lowStatus == Status::Disconnected || highStatus == Status::Disconnected) {
        reason = text;
        return Status::Disconnected;
    }
    if (lowStatus == Status::Ok && !std::isnan(found.low))
        bounds.low = found.low;
    if (highStatus == Status::Ok && !std::isnan(found.high))
        bounds.high = found.high;
    if (bounds.low > bounds.high)
        bounds = {-kNoBound, kNoBound};
    return Status::Ok;
}

Status FeatureNode::read(double& value, QByteArray& reason) const {
    Failure failure;
    double found = 0;
    switch (kind_) {
        case Kind::Real:
            found = arv_gc_float_get_value(ARV_GC_FLOAT(node_), failure);
            break;
        case Kind::Integer:
            found = static_cast<double>(arv_gc_integer_get_value(ARV_GC_INTEGER(node_), failure));
            break;
        case Kind::Boolean:
            found = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node_), failure) != FALSE;
            break;
        case Kind::None:
        case Kind::Enumeration:
        case Kind::Command:
            return Status::Unsupported;
    }
    const Status status = noted(failure.status(reason));
    if (status != Status::Ok)
        return status;
    if (!std::isfinite(found)) {
        reason = name_ + " is not a number";
        return Status::DeviceFailure;
    }
    value = found;
    return Status::Ok;
}

Status FeatureNode::write(double value, QByteArray& reason, bool* isBounded) const {
    if (!std::isfinite(value))
        return Status::BadArgument;
    if (kind_ == Kind::Boolean) {
        Failure failure;
        arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node_), value != 0 ? TRUE : FALSE, failure);
        return noted(failure.status(reason));
    }
    if (!isNumber())
        return Status::Unsupported;
    Bounds limits{};
    const Status status = bounds(limits, reason);
    if (status != Status::Ok)
        return status;
    const double inside = std::clamp(value, limits.low, limits.high);
    if (isBounded != nullptr)
        *isBounded = std::abs(inside - value) > kNothing * std::abs(value);
    if (kind_ == Kind::Integer)
        return writeInteger(inside, limits, reason);
    Failure failure;
    arv_gc_float_set_value(ARV_GC_FLOAT(node_), inside, failure);
    return noted(failure.status(reason));
}

Status FeatureNode::writeInteger(double value, const Bounds& bounds, QByteArray& reason) const {
    const int64_t increment = arv_gc_integer_get_inc(ARV_GC_INTEGER(node_), Failure());
    double number = std::round(value);
    // Steps count from the least value; where there is none to speak of, from 0.
    if (increment > 1) {
        const auto step = static_cast<double>(increment);
        const double start = std::abs(bounds.low) < kGreatestWhole / 2 ? bounds.low : 0;
        number = start + std::round((value - start) / step) * step;
        if (number > bounds.high)
            number -= step;
        if (number < bounds.low)
            number += step;
    }
    Failure failure;
    arv_gc_integer_set_value(ARV_GC_INTEGER(node_), whole(number), failure);
    return noted(failure.status(reason));
}

bool FeatureNode::hasEntry(const QByteArray& entry) const {
    return kind_ == Kind::Enumeration &&
           arv_device_is_enumeration_entry_available(device_, name_.constData(), entry.constData(),
                                                     Failure()) != FALSE;
}

Status FeatureNode::readEntry(QByteArray& entry, QByteArray& reason) const {
    if (kind_ != Kind::Enumeration)
        return Status::Unsupported;
    Failure failure;
    const char* found = arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(node_), failure);
    const Status status = noted(failure.status(reason));
    if (status == Status::Ok)
        entry = found;
    return status;
}

Status FeatureNode::writeEntry(const QByteArray& entry, QByteArray& reason) const {
    if (kind_ != Kind::Enumeration)
        return Status::Unsupported;
    Failure failure;
    arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(node_), entry.constData(), failure);
    return noted(failure.status(reason));
}

Status FeatureNode::execute(QByteArray& reason) const {
    if (kind_ != Kind::Command)
        return Status::Unsupported;
    Failure failure;
    arv_gc_command_execute(ARV_GC_COMMAND(node_), failure);
    return noted(failure.status(reason));
}

}  // namespace kvgen
