#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QString>
#include <cstddef>
#include <functional>
#include <qwindowdefs.h>

/// What the program needs of the desktop and Qt does not offer: a key that works while another program has
/// the keyboard, and messages that other programs send to the window.
///
/// Which source serves these functions is the build's choice (Windows, X11, none). GUI thread only, with the
/// application object alive. Nothing here throws.
namespace platform {

/// The native messages that mean something to the main window.
enum class NativeMessage {
    None,           ///< anything else
    CameraMessage,  ///< the registered message "KV CAMERA", sent by another program
    SaveHotkey,     ///< the save hot key was pressed
};

/// Makes Ctrl+W a key of the whole desktop. From now on each press of it, whatever program has the keyboard,
/// arrives as one native message SaveHotkey at the window, which must be a top-level widget's winId(). Ctrl+W
/// with other modifiers is left alone; lock keys (Caps Lock, Num Lock) make no difference. On X11 a key held
/// down is one press; Windows sends its repeats too.
///
/// One window of the process can have the key. Returns false, and changes nothing, if another program or
/// window has it, if the window does not exist, or if there is no such thing here.
bool registerSaveHotkey(WId window);

/// Gives the key back. Does nothing if this window does not have it. The key is also given back when the
/// window or the process ends.
void unregisterSaveHotkey(WId window);

/// What an event handed to QWidget::nativeEvent means; the arguments are that function's. Works whether or
/// not the hot key could be registered.
NativeMessage classify(const QByteArray& eventType, const void* message);

/// A file of the working folder as this system writes it: ".\name" on Windows, "./name" elsewhere.
QString workingFolderFile(const QString& name);

/// Writes a whole file into the device and returns what went wrong, an empty text if nothing did. It may be
/// called twice, each time with an empty device.
using FileWriter = std::function<QString(QIODevice& file)>;

/// Whether a new file is on the disk when replaceFile() returns.
enum class Disk {
    WaitForIt,    ///< it is; for the few bytes that the next start needs
    LetItFollow,  ///< every program sees it, and it is on the disk as soon as the disk can; for pictures
};

/// Puts a file of this content in place of whatever has the name, in one step: readers see the old file or
/// the new one, and when it fails (folder gone or not writable, disk full) the old one is still there. False
/// then, and a line in the log. Any thread.
bool replaceFile(const QString& fileName, const FileWriter& write, Disk disk = Disk::WaitForIt);
bool replaceFile(const QString& fileName, const QByteArray& content);

/// Gives a file another name in one step, in place of the file that has it. What went wrong is returned.
QString replaceByRename(const QString& from, const QString& to);

/// Has the disk take an open file, without waiting for it; the file may be closed at once.
void startSync(const QFileDevice& file);

/// Memory for one large picture, `size` bytes of zeros straight from the system, which the system has back as
/// soon as giveZeroedMemoryBack() gets it. Null if there is not that much. Any thread.
void* takeZeroedMemory(size_t size);
void giveZeroedMemoryBack(void* memory, size_t size);

}  // namespace platform
