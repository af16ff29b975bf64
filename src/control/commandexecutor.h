// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "control/serialcommand.h"

/// Carries out the commands of the machine controller: parameters go to the cameras, the rest to whoever
/// takes pictures. GUI thread.
class CommandExecutor : public QObject {
    Q_OBJECT

public:
    /// What the commands act on beside the cameras. All are called on the GUI thread, within execute() but
    /// for a picture that is taken later.
    struct Actions {
        std::function<void(const QString&)> show;  ///< the echo of a command, for the status bar
        std::function<void()> save;                ///< takes a picture of the whole view
        std::function<int()> saveDelay;            ///< ms from a trigger to the picture
        std::function<void(int)> setSaveDelay;     ///< ms, at least 1
        std::function<void()> parametersChanged;   ///< of some camera
    };

    /// For the cameras 0 ... cameraCount - 1 of the library.
    CommandExecutor(int cameraCount, Actions actions, QObject* parent = nullptr);

    /// Does what the command says. A camera that is not there: nobody is called and nobody told.
    void execute(const SerialCommand& command);

private:
    void trigger();
    void callCameras(const SerialCommand& command) const;

    const int cameraCount;
    const Actions actions;
};
