// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointer>
#include <QWidget>
#include <optional>

#include "platform/endrequests.h"

class ControllerLine;
class LiveTiles;
class SavingController;
class SettingsFile;
class Station;

/// Ends the program in order when it is not the operator who ends it: by a signal, with the session, when the
/// display is lost. In order means: the capture threads have ended, the cameras are freed, the settings are
/// on disk, pictures that were taken are written.
///
/// One in the program, made in main before the window, so that a box of the start ends too. GUI thread.
class OrderlyEnd {
public:
    /// What has to be in order. All outlive run().
    struct Parts {
        LiveTiles* live;
        Station* station;
        SettingsFile* settings;
        SavingController* saving;
        ControllerLine* line;  ///< none where there is no controller
    };

    OrderlyEnd();
    ~OrderlyEnd();
    OrderlyEnd(const OrderlyEnd&) = delete;
    OrderlyEnd& operator=(const OrderlyEnd&) = delete;

    /// Runs the event loop for the window until it ends by itself or somebody else wants it to, and returns
    /// its exit code; 0 when a signal ends it. Does not run at all when that came while the window was made.
    int run(QWidget* programWindow, const Parts& ofWindow);

    /// Closes the window as the operator would and leaves all event loops, those of boxes, dialogs and menus
    /// included. Once: whatever comes after the first call changes nothing.
    void endInOrder();
    /// Puts all in order before it returns, and touches neither widgets nor the desktop. From then on no
    /// command comes from the controller. Waits for the capture threads for little longer than their cameras
    /// wait for a frame; the camera of one that does not end is left as it is. Nothing when there is no run()
    /// or it has been done.
    ///
    /// Pictures in the background are waited for at the very end, for as long as the disk takes, which may be
    /// for ever. Where the display is lost, an alarm ends the process then, 70 s after the end began; at the
    /// end of a Windows session, Windows does, when it likes.
    void endNow();

private:
    platform::EndRequests requests;
    QPointer<QWidget> window;
    std::optional<Parts> parts;  // while there is something to put in order
    bool isEnding = false;
};
