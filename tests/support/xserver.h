// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <functional>
#include <memory>

struct xcb_connection_t;

/// How long anything on the test desktop may take before the test calls it missing. Generous: the machine may
/// be busy and the programs instrumented. Nothing waits this long unless it fails.
constexpr int kDesktopLimit = 20000;  // ms

/// A process that dies with the test, also when the test itself is killed at its time limit.
class ChildProcess : public QProcess {
protected:
    void setupChildProcess() override;
};

/// A desktop of the test's own: an X server without a screen (Xvfb) on a display number that the server
/// chooses, and a window manager (openbox) with a configuration of its own, so that neither the developer's
/// desktop nor another test meets it. Both end with the object.
///
/// The test program itself stays off the display (QTEST_GUILESS_MAIN); what is tested runs as a process of
/// its own, see DesktopProgram:
///
///     XServer server;
///     QVERIFY2(server.start(), qPrintable(server.errorString()));
///     DesktopProgram program(server, QStringLiteral(BIVISTA_PATH));
///     const quint32 window = server.waitForWindow("Bivista");
///     QVERIFY(server.activate(window));
///     QVERIFY(server.key("ctrl+w"));
///     server.screenshot().save("desktop.png");
///
/// Every wait has a limit in milliseconds and watches for the event it waits for; none sleeps. Windows are X
/// window numbers, 0 is none. Test programs link to bivista_test_xserver.
class XServer {
public:
    /// What a command did. ok: it ran, ended by itself within its limit, and returned 0.
    struct Outcome {
        bool ok = false;
        int exitCode = -1;
        QByteArray output;  // standard output
        QByteArray errors;  // standard error
    };

    /// `dpi` is what the size of its screen in millimetres comes to; 0: the server's own, 96.
    explicit XServer(int dpi = 0);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    /// Starts both and returns when the window manager manages the screen; else errorString() says what is
    /// missing.
    bool start(int limit = kDesktopLimit);
    void stop();
    QString errorString() const { return error_; }

    /// ":5", say.
    QString display() const { return display_; }
    /// The test's environment with this display and Qt's xcb platform.
    QProcessEnvironment environment() const;

    /// Sets the server's resources, "Name:\tvalue" lines as a desktop leaves them there ("Xft.dpi:\t144").
    bool setResources(const QByteArray& lines);

    /// Runs a command on the display and waits for its end.
    Outcome run(const QString& program, const QStringList& arguments, int limit = kDesktopLimit);
    /// Presses and releases keys by what they mean in the first layout: "ctrl+w", "F4".
    bool key(const QString& keys);
    /// Presses or releases without the other half.
    bool keyDown(const QString& keys);
    bool keyUp(const QString& keys);
    /// Whether a key that is held down repeats. At first none does: between press and release of one that is
    /// only meant to be struck, a busy machine may lie idle for longer than a keyboard waits before it
    /// repeats.
    bool repeatKeys(bool isOn);
    /// Presses keys by their place (X key code), one after the other, and lets go of them in the opposite
    /// order. What they mean is up to the layout in use.
    bool pressPlaces(const QVector<int>& codes);

    /// A managed window of exactly this title; 0 when the limit passes.
    quint32 waitForWindow(const QString& title, int limit = kDesktopLimit);
    bool waitForNoWindow(const QString& title, int limit = kDesktopLimit);
    /// Titles of all managed windows, oldest first; for messages of failed tests too.
    QStringList titles();
    /// Gives a window the keyboard as a click into a task list would, and waits until it has it.
    bool activate(quint32 window, int limit = kDesktopLimit);
    bool waitForActive(quint32 window, int limit = kDesktopLimit);
    /// Waits until the window manager has done what it has been told by now: windows that were shown, the
    /// keyboard that a window is to have, a new layout, with which it sets itself up anew.
    bool settle(int limit = kDesktopLimit);
    /// The window that the window manager calls active.
    quint32 activeWindow();
    /// A menu or the like is open: a window that no window manager has to do with, at least of this size, px.
    bool hasPopup(int size = 20);
    /// The window that has the keyboard.
    quint32 focus();
    /// Asks a window to close as its close button would.
    bool closeWindow(quint32 window);

    /// Sends a window a client message (format 32) of this name and first value, and waits until the server,
    /// and all that other programs had asked of it by then, are through with it.
    bool sendMessage(quint32 window, const char* name, quint32 value = 0);

    /// The modifiers and locks that are on, as in an X event's state: 1 Shift, 2 Caps Lock, 4 Ctrl, 16 Num
    /// Lock.
    int modifiers();
    /// The whole screen as it is shown now; null if the server is gone.
    QImage screenshot();

private:
    bool startServer(int limit);
    bool startWindowManager(int limit);
    bool waitForAnswer(int limit);
    bool fail(const QString& what);
    bool waitUntil(const std::function<bool()>& condition, int limit);
    bool takeEvents();
    quint32 atom(const char* name);
    QByteArray property(quint32 window, const char* name, quint32 type);
    QVector<quint32> numbers(quint32 window, const char* name, quint32 type);
    QVector<quint32> windows();
    quint32 windowOf(const QString& title);
    QString titleOf(quint32 window);
    bool fakeKey(int code, bool down);
    bool roundTrip();
    bool sendTo(quint32 receiver, quint32 eventMask, quint32 window, const char* type, quint32 first,
                quint32 second);
    bool sendToRoot(quint32 window, const char* type, quint32 first, quint32 second);

    const int dpi_;
    QTemporaryDir home_;  // the window manager's
    ChildProcess server_;
    ChildProcess manager_;
    QString display_;
    QString error_;
    xcb_connection_t* connection_ = nullptr;
    quint32 root_ = 0;
};

/// XServer::repeatKeys() for a test whose own windows stand on the desktop.
bool repeatKeysHere(bool isOn);

/// A program on the test desktop that is read and written line by line. Killed with the object if it still
/// runs.
class DesktopProgram {
public:
    DesktopProgram(const XServer& server, const QString& program, const QStringList& arguments = {},
                   const QString& workingDirectory = {});
    /// With an environment of its own choice, best made from XServer::environment().
    DesktopProgram(const QProcessEnvironment& environment, const QString& program,
                   const QStringList& arguments, const QString& workingDirectory);
    ~DesktopProgram();
    DesktopProgram(const DesktopProgram&) = delete;
    DesktopProgram& operator=(const DesktopProgram&) = delete;

    bool isRunning() const { return process_.state() == QProcess::Running; }
    qint64 processId() const { return process_.processId(); }
    void write(const QString& line);
    /// Waits for a line of standard output and returns it with all lines since the last wait before it, so
    /// the line is the last of the list. Empty when the limit passes or the program ends; what came meanwhile
    /// stays for the next.
    QStringList waitForLine(const QString& line, int limit = kDesktopLimit);
    /// The same for the first line that is one of several.
    QStringList waitForAnyLine(const QStringList& wanted, int limit = kDesktopLimit);
    /// Waits for the program's own end. True if it was no crash; then exitCode() counts.
    bool waitForEnd(int limit = kDesktopLimit);
    /// When it was killed, the number of the signal.
    int exitCode() const { return process_.exitCode(); }
    void kill();
    /// Sends it a signal.
    void signal(int number) const;
    /// All of standard error so far.
    QByteArray errors();

private:
    void readLines();

    ChildProcess process_;
    QStringList lines_;
    QByteArray errors_;
};
