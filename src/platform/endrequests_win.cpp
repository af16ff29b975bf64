// SPDX-License-Identifier: Apache-2.0
#include "platform/endrequests.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QCoreApplication>
#include <qt_windows.h>

/// Sees the messages of all windows before Qt does. Each window gets one; the first counts.
class platform::EndRequests::Listener : public QAbstractNativeEventFilter {
public:
    explicit Listener(std::function<void()> ends) : sessionEnds(std::move(ends)) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray&, void* message, long*) override {
        const auto* msg = static_cast<const MSG*>(message);
        if (msg != nullptr && msg->message == WM_ENDSESSION && msg->wParam != 0)
            sessionEnds();
        return false;
    }

private:
    std::function<void()> sessionEnds;
};

platform::EndRequests::EndRequests(const std::function<void()>&, const std::function<void()>& sessionEnds)
    : listener(std::make_unique<Listener>(sessionEnds)) {}

platform::EndRequests::~EndRequests() = default;

void platform::endInAnyCase(int) {}
