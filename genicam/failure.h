// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arv.h>

#include <QString>

#include "accesses.h"

namespace kvgen {

/// What an Aravis call says went wrong; to be given to one call after the other. Counts each as an access.
class Failure {
public:
    Failure() = default;
    ~Failure() { forget(); }
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;

    GError** operator&() {
        forget();
        isUsed_ = true;
        return &error_;
    }
    explicit operator bool() const { return error_ != nullptr; }
    bool is(ArvDeviceError code) const { return g_error_matches(error_, ARV_DEVICE_ERROR, code); }
    QString text() const { return error_ != nullptr ? QString::fromUtf8(error_->message) : QString(); }

private:
    void forget() {
        if (isUsed_)
            countAccess(error_);
        g_clear_error(&error_);
    }

    GError* error_ = nullptr;
    bool isUsed_ = false;
};

}  // namespace kvgen
