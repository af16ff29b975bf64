// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QMap>
#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>
#include <functional>
#include <memory>

#include "support/xserver.h"

/// The program's menus from left to right, as the keyboard goes through them.
enum class Menu { File, View, Tools, Calibrate, Language, Help };

/// A desktop, a serial line, four simulated cameras, a working folder, and the real program among them as a
/// process of its own. The program's window is driven by keys and clicks, as its operator does it; menus are
/// gone through by place, which is the same in both languages. Its log goes to a file: nobody has to read it
/// for the program to go on.
///
/// Used by one thread; isAlive(), settings() and the names may be asked by any.
class Workplace {
public:
    explicit Workplace(QSize frameSize, int framesPerSecond);
    ~Workplace();
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    /// Desktop, line and folder, without the program. Returns what is missing, empty when nothing is.
    QString setUp();

    /// Starts the program and waits for its window and for the first pictures of all cameras. Returns what
    /// went wrong, empty when nothing did.
    QString startProgram();
    bool isAlive() const;
    /// SIGKILL; may be called by any thread while another one drives.
    void kill() const;
    void waitForKilled();
    /// Closes the window; the exit code, or -1 when it crashed or did not end.
    int endProgram();
    qint64 processId() const { return pid; }
    quint32 window() const { return mainWindow; }

    QString folder() const { return place.filePath(QStringLiteral("work")); }
    QString pictures() const { return place.filePath(QStringLiteral("work/pictures")); }
    QString file(const QString& name) const { return QDir(folder()).filePath(name); }
    QString logFile() const { return place.filePath(QStringLiteral("log.txt")); }
    /// A key of setting.ini on the disk; null when it is not there.
    QString setting(const QString& key) const;
    /// Writes a whole file into the working folder, for use while the program does not run.
    bool write(const QString& name, const QByteArray& content) const;

    /// Sends one delivery on the serial line.
    bool send(const QByteArray& bytes);
    /// The program has taken all that was sent. A byte may be on its way for longer than one would think: on
    /// a busy machine the kernel hands it on late.
    bool isLineFree() const;

    // The operator. False: not done, or the program has ended meanwhile.

    bool activateMain();
    bool keys(const QStringList& names);
    /// Chooses an entry, counted from 1 at the top or from -1 at the bottom; entries that are off do not
    /// count.
    bool choose(Menu menu, int entry);
    /// Presses the mouse at a place of the main window, px from its top-left corner.
    bool click(QPoint inWindow);
    /// The middle of the button behind the tool bar's separator, or a null point when it is not to be seen.
    QPoint buttonBehindSeparator();
    QSize windowSize();
    /// Waits for a condition that nothing tells of, while the program lives.
    bool waitFor(const std::function<bool()>& condition, int limit = kDesktopLimit) const;
    /// The program has another window active than its main one.
    bool waitForBox(int limit = kDesktopLimit);
    QString activeTitle();

    /// The reference corners of each camera, frame px: top-left, top-right, bottom-left, bottom-right.
    QVector<QVector<QPointF>> corners() const;
    /// A mark file with a cross-hair on each of these corners, moved to the right by `shift` px.
    QByteArray cornerMarks(double shift) const;
    QSize frameSize() const { return frame; }

    XServer desktop;

private:
    QRect geometryOfMain();
    void forgetZoom() const;
    int unreadBytes() const;
    qint64 bytesTaken() const;

    QTemporaryDir place;
    std::unique_ptr<ChildProcess> process;
    const QSize frame;
    const int rate;  // frames a second
    qint64 pid = 0;
    quint32 mainWindow = 0;
    // A pty without anybody between: what is written is on the line when the call returns, in one piece.
    int controllerEnd = -1;
    qint64 takenAtLeast = 0;  // bytes that the program's reader has read when all is taken
    int lineEnd = -1;         // the program's end, for a look at what waits there
};
