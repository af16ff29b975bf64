// SPDX-License-Identifier: Apache-2.0
#include "app/orderlyend.h"

#include <QApplication>
#include <QSignalBlocker>
#include <QTimer>
#include <cstdlib>
#include <utility>

#include "app/programlog.h"
#include "app/savingcontroller.h"
#include "app/station.h"
#include "control/controllerline.h"
#include "live/livetiles.h"
#include "settings/settingsfile.h"

namespace {

constexpr int kMargin = 10;                       // s for what else may hang than a capture thread
constexpr int kRegisterAgain[] = {2000, 20'000};  // ms: after the first frames, and when all has been running

OrderlyEnd* running = nullptr;  // whom an exit() by somebody else concerns

/// Qt calls exit() within the event loop when the desktop has gone: then no destructor of the window runs.
void endAtExit() {
    OrderlyEnd* const ending = std::exchange(running, nullptr);
    if (!ending)
        return;
    platform::endInAnyCase(Station::kLongestPatience / 1000 + kMargin);
    ending->endNow();
    platform::endInAnyCase(kMargin);
}

/// What is registered last is called first, and what libraries make when they are used is taken down in the
/// same row: it has to be there still when the cameras are freed. Nobody knows when a library is done with
/// that, so this is done again when the streams run. The first call does all.
void registerEnd() {
    static_cast<void>(std::atexit(endAtExit));
}

}  // namespace

OrderlyEnd::OrderlyEnd() : requests([this] { endInOrder(); }, [this] { endNow(); }) {
    // Or Qt would close the window as soon as it is asked whether the session may end, which can be taken
    // back.
    QGuiApplication::setFallbackSessionManagementEnabled(false);
}

OrderlyEnd::~OrderlyEnd() {
    running = nullptr;
}

int OrderlyEnd::run(QWidget* programWindow, const Parts& ofWindow) {
    window = programWindow;
    parts = ofWindow;
    running = this;
    registerEnd();
    const QObject whileItRuns;
    for (const int delay : kRegisterAgain)
        QTimer::singleShot(delay, &whileItRuns, registerEnd);
    int code = 0;
    if (isEnding)
        window->close();
    else
        code = QApplication::exec();
    // From here on it is the window's destructor that puts all in order.
    parts.reset();
    running = nullptr;
    return code;
}

void OrderlyEnd::endInOrder() {
    if (std::exchange(isEnding, true))
        return;
    noteInLog(QStringLiteral("A signal asks the program to end"));
    // Before anything that may take long.
    if (parts)
        parts->settings->flush();
    // It may be closed already and not gone yet.
    if (window && window->isVisible())
        window->close();
    QApplication::exit(0);
}

void OrderlyEnd::endNow() {
    const auto present = std::exchange(parts, std::nullopt);
    if (!present)
        return;
    isEnding = true;
    noteInLog(QStringLiteral("The desktop or its session is gone"));
    // Before anything that may hang. Whoever shows problems could not any more.
    const QSignalBlocker nobodyIsTold(present->settings);
    present->settings->flush();
    // All of them, before one is waited for.
    present->live->stop();
    if (present->line)
        present->line->close();
    const QVector<int> busyCameras = present->live->stopWithin(present->station->patience());
    present->station->freeAllBut(busyCameras);
    // At the end of a Windows session nothing else of the program runs.
    flushLog();
    // A disk may take as long as it likes; the cameras don't have to.
    present->saving->waitForPictures();
}
