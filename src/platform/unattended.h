// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/// What a system has to be told so that a station runs on with nobody beside it.
namespace platform {

/// While it is on, Windows neither sleeps nor switches the screen off by itself. It counts for the thread
/// that says so, until that ends. Elsewhere there is no such call: desktops do it by their own settings.
void keepAwake(bool isOn);

/// Has Windows start the program again after a crash or a hang, when it had run for a minute, and after an
/// update or a restart of Windows that closed it. `arguments` are those of the command line, without the
/// program. Elsewhere nothing: that is the service manager's business.
void restartAfterCrash(const QStringList& arguments);

/// One text that Windows takes apart into these arguments again.
QString commandLineOf(const QStringList& arguments);

}  // namespace platform
