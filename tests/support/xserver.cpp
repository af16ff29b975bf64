// SPDX-License-Identifier: Apache-2.0
#include "support/xserver.h"

#include <QDeadlineTimer>
#include <QFile>

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

// No key bindings and no mouse bindings that could take an input from the program, and a new window gets the
// keyboard.
const char kWindowManagerSettings[] =
    "<?xml version=\"1.0\"?>\n"
    "<openbox_config xmlns=\"http://openbox.org/3.4/rc\">\n"
    "  <focus><focusNew>yes</focusNew><followMouse>no</followMouse><focusLast>yes</focusLast></focus>\n"
    "  <theme><name>Clearlooks</name><animateIconify>no</animateIconify></theme>\n"
    "  <desktops><number>1</number><popupTime>0</popupTime></desktops>\n"
    "  <keyboard/>\n"
    "  <mouse><context name=\"Client\">\n"
    "    <mousebind button=\"Left\" action=\"Press\"><action name=\"Focus\"/><action "
    "name=\"Raise\"/></mousebind>\n"
    "  </context></mouse>\n"
    "</openbox_config>\n";

void end(QProcess& process) {
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(3000);
    }
}

int remaining(const QDeadlineTimer& deadline) {
    return static_cast<int>(std::max<qint64>(0, deadline.remainingTime()));
}

bool setKeyRepeat(xcb_connection_t* connection, bool isOn) {
    const quint32 mode = isOn ? XCB_AUTO_REPEAT_MODE_ON : XCB_AUTO_REPEAT_MODE_OFF;
    const Owned<xcb_generic_error_t> error(xcb_request_check(
        connection, xcb_change_keyboard_control_checked(connection, XCB_KB_AUTO_REPEAT_MODE, &mode)));
    return error == nullptr && xcb_connection_has_error(connection) == 0;
}

QString contentsOf(const QString& fileName) {
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}

}  // namespace

bool repeatKeysHere(bool isOn) {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const bool isSet = xcb_connection_has_error(connection) == 0 && setKeyRepeat(connection, isOn);
    xcb_disconnect(connection);
    return isSet;
}

void ChildProcess::setupChildProcess() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Whatever the test was started from may ignore these.
    for (const int number : {SIGINT, SIGHUP})
        ::signal(number, SIG_DFL);
}

XServer::XServer(int dpi) : dpi_(dpi) {}

XServer::~XServer() {
    stop();
}

bool XServer::start(int limit) {
    const QDeadlineTimer deadline(limit);
    return startServer(remaining(deadline)) && startWindowManager(remaining(deadline));
}

void XServer::stop() {
    if (connection_ != nullptr)
        xcb_disconnect(connection_);
    connection_ = nullptr;
    end(manager_);
    end(server_);
}

bool XServer::fail(const QString& what) {
    error_ = what;
    stop();
    return false;
}

bool XServer::startServer(int limit) {
    const QDeadlineTimer deadline(limit);
    // Its warnings go to a file: nobody reads them while all is well, and a full pipe would stop it.
    const QString log = home_.filePath("server.log");
    server_.setStandardErrorFile(log);
    // The server looks for a free display itself and says which; it does so when it is ready for clients.
    QStringList arguments{"-displayfd", "1", "-screen", "0", "1920x1080x24", "-nolisten", "tcp", "-noreset"};
    if (dpi_ != 0)
        arguments << "-dpi" << QString::number(dpi_);
    server_.start("Xvfb", arguments);
    while (!server_.canReadLine())
        if (!server_.waitForReadyRead(remaining(deadline)))
            return fail("Xvfb did not start: " + server_.errorString() + "\n" + contentsOf(log));
    display_ = ":" + QString::fromLatin1(server_.readLine().trimmed());

    connection_ = xcb_connect(display_.toLatin1().constData(), nullptr);
    if (xcb_connection_has_error(connection_) != 0)
        return fail("No connection to the X server " + display_);
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const quint32 events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &events);
    return repeatKeys(false) || fail("The keyboard of " + display_ + " does not stop repeating");
}

bool XServer::startWindowManager(int limit) {
    QFile settings(home_.filePath("rc.xml"));
    if (!settings.open(QIODevice::WriteOnly) || settings.write(kWindowManagerSettings) < 0)
        return fail("Cannot write the window manager's settings");
    settings.close();
    QProcessEnvironment own = environment();
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
        own.insert(name, home_.path());
    manager_.setProcessEnvironment(own);
    manager_.setStandardOutputFile(QProcess::nullDevice());
    manager_.setStandardErrorFile(QProcess::nullDevice());
    manager_.start("openbox", {"--sm-disable", "--config-file", settings.fileName()});
    if (!manager_.waitForStarted(limit))
        return fail("openbox did not start: " + manager_.errorString());
    const QDeadlineTimer deadline(limit);
    const auto announced = [this] {
        return !numbers(root_, "_NET_SUPPORTING_WM_CHECK", XCB_ATOM_WINDOW).isEmpty();
    };
    return (waitUntil(announced, limit) && waitForAnswer(remaining(deadline))) ||
           fail("openbox does not manage the screen");
}

/// The window manager announces itself while it still sets itself up, and a window that is shown in that time
/// is never managed. So it is asked what frame it would give to a window, again and again until it answers.
bool XServer::waitForAnswer(int limit) {
    const QDeadlineTimer deadline(limit);
    const quint32 window = xcb_generate_id(connection_);
    const quint32 events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, root_, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    const auto answered = [&] { return !numbers(window, "_NET_FRAME_EXTENTS", XCB_ATOM_CARDINAL).isEmpty(); };
    bool ok = false;
    while (!ok && !deadline.hasExpired() && sendToRoot(window, "_NET_REQUEST_FRAME_EXTENTS", 0, 0))
        ok = waitUntil(answered, std::min(100, remaining(deadline)));
    xcb_destroy_window(connection_, window);
    xcb_flush(connection_);
    return ok;
}

QProcessEnvironment XServer::environment() const {
    QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
    result.insert("DISPLAY", display_);
    result.insert("QT_QPA_PLATFORM", "xcb");
    // Nothing here draws with OpenGL, and its drivers are slow to load and leak.
    result.insert("QT_XCB_GL_INTEGRATION", "none");
    result.insert("XDG_RUNTIME_DIR", home_.path());
    result.insert("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    // Nothing of the developer's desktop: its authority file, its Wayland, its input method, its scale.
    for (const char* name : {"XAUTHORITY", "WAYLAND_DISPLAY", "QT_IM_MODULE", "XMODIFIERS", "QT_SCALE_FACTOR",
                             "QT_SCREEN_SCALE_FACTORS", "QT_SCALE_FACTOR_ROUNDING_POLICY", "QT_FONT_DPI",
                             "QT_QPA_PLATFORMTHEME", "DESKTOP_SESSION", "XDG_CURRENT_DESKTOP"})
        result.remove(name);
    return result;
}

bool XServer::setResources(const QByteArray& lines) {
    const auto cookie = xcb_change_property_checked(connection_, XCB_PROP_MODE_REPLACE, root_,
                                                    XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 8,
                                                    static_cast<quint32>(lines.size()), lines.constData());
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    return error == nullptr;
}

XServer::Outcome XServer::run(const QString& program, const QStringList& arguments, int limit) {
    ChildProcess process;
    process.setProcessEnvironment(environment());
    process.start(program, arguments);
    process.closeWriteChannel();
    Outcome outcome;
    const bool ended = process.waitForFinished(limit);
    if (!ended)
        end(process);
    outcome.output = process.readAllStandardOutput();
    outcome.errors = process.readAllStandardError();
    outcome.exitCode = process.exitCode();
    outcome.ok = ended && process.exitStatus() == QProcess::NormalExit && outcome.exitCode == 0;
    return outcome;
}

bool XServer::key(const QString& keys) {
    return run("xdotool", {"key", keys}).ok;
}

bool XServer::keyDown(const QString& keys) {
    return run("xdotool", {"keydown", keys}).ok;
}

bool XServer::keyUp(const QString& keys) {
    return run("xdotool", {"keyup", keys}).ok;
}

bool XServer::repeatKeys(bool isOn) {
    return setKeyRepeat(connection_, isOn);
}

bool XServer::pressPlaces(const QVector<int>& codes) {
    bool ok = true;
    for (auto code = codes.begin(); code != codes.end(); ++code)
        ok = fakeKey(*code, true) && ok;
    for (auto code = codes.rbegin(); code != codes.rend(); ++code)
        ok = fakeKey(*code, false) && ok;
    return ok;
}

/// The FakeInput request of the XTEST extension, sent as it is laid out in the protocol: a command line tool
/// for this switches the keyboard group around its presses, which the tests of layouts must not have.
bool XServer::fakeKey(int code, bool down) {
    static xcb_extension_t xtest = {"XTEST", 0};
    struct FakeInput {
        quint8 majorOpcode, minorOpcode;
        quint16 length;
        quint8 type, detail;
        quint16 pad0;
        quint32 time, root;
        quint32 pad1[2];
        qint16 x, y;
        quint32 pad2[2];
    };
    static_assert(sizeof(FakeInput) == 36, "as in the protocol");
    if (connection_ == nullptr || xcb_get_extension_data(connection_, &xtest)->present == 0)
        return false;
    FakeInput request;
    std::memset(&request, 0, sizeof request);
    request.type = down ? XCB_KEY_PRESS : XCB_KEY_RELEASE;
    request.detail = static_cast<quint8>(code);
    // xcb writes the opcodes and the length, and wants two free places before the first part.
    iovec parts[3] = {{nullptr, 0}, {nullptr, 0}, {&request, sizeof request}};
    const xcb_protocol_request_t protocol = {1, &xtest, 2, 1};
    const xcb_void_cookie_t cookie{xcb_send_request(connection_, XCB_REQUEST_CHECKED, parts + 2, &protocol)};
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    return error == nullptr;
}

/// The condition may ask the server. Whatever it depends on must change together with an event that this
/// connection has asked for.
bool XServer::waitUntil(const std::function<bool()>& condition, int limit) {
    const QDeadlineTimer deadline(limit);
    for (;;) {
        if (connection_ == nullptr || xcb_connection_has_error(connection_) != 0)
            return false;
        if (condition())
            return true;
        if (takeEvents())
            continue;  // something changed while the condition looked
        if (deadline.hasExpired())
            return false;
        pollfd socket = {xcb_get_file_descriptor(connection_), POLLIN, 0};
        poll(&socket, 1, remaining(deadline));
    }
}

bool XServer::takeEvents() {
    bool any = false;
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection_)})
        any = true;
    return any;
}

quint32 XServer::atom(const char* name) {
    const auto length = static_cast<quint16>(std::strlen(name));
    const Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name), nullptr));
    return reply != nullptr ? reply->atom : quint32(XCB_ATOM_NONE);
}

QByteArray XServer::property(quint32 window, const char* name, quint32 type) {
    if (connection_ == nullptr)
        return {};
    const auto cookie = xcb_get_property(connection_, 0, window, atom(name), type, 0, 0x10000);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_, cookie, nullptr));
    if (reply == nullptr || reply->type != type)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

QVector<quint32> XServer::numbers(quint32 window, const char* name, quint32 type) {
    const QByteArray bytes = property(window, name, type);
    QVector<quint32> result(bytes.size() / 4);
    std::memcpy(result.data(), bytes.constData(), size_t(result.size()) * 4);
    return result;
}

QVector<quint32> XServer::windows() {
    const QVector<quint32> managed = numbers(root_, "_NET_CLIENT_LIST", XCB_ATOM_WINDOW);
    // A title may be set after the window is managed.
    const quint32 events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    for (const quint32 window : managed)
        xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
    return managed;
}

QString XServer::titleOf(quint32 window) {
    return QString::fromUtf8(property(window, "_NET_WM_NAME", atom("UTF8_STRING")));
}

quint32 XServer::windowOf(const QString& title) {
    const QVector<quint32> managed = windows();
    const auto found = std::find_if(managed.begin(), managed.end(),
                                    [&](quint32 window) { return titleOf(window) == title; });
    return found != managed.end() ? *found : 0;
}

quint32 XServer::waitForWindow(const QString& title, int limit) {
    quint32 found = 0;
    waitUntil([&] { return (found = windowOf(title)) != 0; }, limit);
    return found;
}

bool XServer::waitForNoWindow(const QString& title, int limit) {
    return waitUntil([&] { return windowOf(title) == 0; }, limit);
}

QStringList XServer::titles() {
    QStringList result;
    for (const quint32 window : windows())
        result.append(titleOf(window));
    return result;
}

quint32 XServer::activeWindow() {
    return numbers(root_, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW).value(0);
}

bool XServer::waitForActive(quint32 window, int limit) {
    return waitUntil([&] { return activeWindow() == window; }, limit);
}

/// It may owe the keyboard to a window that was shown just now, and to the one that had it until then it
/// seems to belong still.
bool XServer::activate(quint32 window, int limit) {
    return sendToRoot(window, "_NET_ACTIVE_WINDOW", 2, XCB_CURRENT_TIME) && settle(limit) &&
           waitForActive(window, limit);
}

/// What it had been told by now it has done at the first answer, and at the second it has heard what came of
/// that.
bool XServer::settle(int limit) {
    const QDeadlineTimer deadline(limit);
    return waitForAnswer(remaining(deadline)) && waitForAnswer(remaining(deadline));
}

bool XServer::closeWindow(quint32 window) {
    return sendToRoot(window, "_NET_CLOSE_WINDOW", XCB_CURRENT_TIME, 2);
}

bool XServer::hasPopup(int size) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const Owned<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root), nullptr));
    if (!tree)
        return false;
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const Owned<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            connection_, xcb_get_window_attributes(connection_, children[i]), nullptr));
        const Owned<xcb_get_geometry_reply_t> place(
            xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, children[i]), nullptr));
        if (attributes && place && attributes->override_redirect != 0 &&
            attributes->map_state == XCB_MAP_STATE_VIEWABLE && place->x >= 0 && place->y >= 0 &&
            attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT && place->width >= size &&
            place->height >= size)
            return true;
    }
    return false;
}

quint32 XServer::focus() {
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    return reply ? reply->focus : 0;
}

bool XServer::roundTrip() {
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    return reply != nullptr;
}

bool XServer::sendMessage(quint32 window, const char* name, quint32 value) {
    if (connection_ == nullptr)
        return false;
    // What others have written is read by the server together with the first of these, and served before the
    // second.
    return roundTrip() && roundTrip() && sendTo(window, XCB_EVENT_MASK_NO_EVENT, window, name, value, 0);
}

/// A wish to the window manager, in the name of a task list (source 2), which it does not refuse.
bool XServer::sendToRoot(quint32 window, const char* type, quint32 first, quint32 second) {
    const quint32 events = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    return connection_ != nullptr && window != 0 && sendTo(root_, events, window, type, first, second);
}

bool XServer::sendTo(quint32 receiver, quint32 eventMask, quint32 window, const char* type, quint32 first,
                     quint32 second) {
    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom(type);
    message.data.data32[0] = first;
    message.data.data32[1] = second;
    const auto cookie =
        xcb_send_event_checked(connection_, 0, receiver, eventMask, reinterpret_cast<const char*>(&message));
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    return error == nullptr;
}

int XServer::modifiers() {
    if (connection_ == nullptr)
        return 0;
    const Owned<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root_), nullptr));
    return reply != nullptr ? reply->mask & 0xff : 0;
}

QImage XServer::screenshot() {
    if (connection_ == nullptr)
        return {};
    const auto sizeCookie = xcb_get_geometry(connection_, root_);
    const Owned<xcb_get_geometry_reply_t> size(xcb_get_geometry_reply(connection_, sizeCookie, nullptr));
    if (size == nullptr)
        return {};
    const auto cookie = xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, 0, 0, size->width,
                                      size->height, 0xffffffff);
    const Owned<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection_, cookie, nullptr));
    // A screen of depth 24 keeps a pixel in 32 bits, in this machine's byte order: the server runs here.
    if (reply == nullptr || xcb_get_image_data_length(reply.get()) < size->width * size->height * 4)
        return {};
    return QImage(xcb_get_image_data(reply.get()), size->width, size->height, size->width * 4,
                  QImage::Format_RGB32)
        .copy();
}

DesktopProgram::DesktopProgram(const XServer& server, const QString& program, const QStringList& arguments,
                               const QString& workingDirectory)
    : DesktopProgram(server.environment(), program, arguments, workingDirectory) {}

DesktopProgram::DesktopProgram(const QProcessEnvironment& environment, const QString& program,
                               const QStringList& arguments, const QString& workingDirectory) {
    process_.setProcessEnvironment(environment);
    if (!workingDirectory.isEmpty())
        process_.setWorkingDirectory(workingDirectory);
    process_.start(program, arguments);
    process_.waitForStarted(kDesktopLimit);
}

DesktopProgram::~DesktopProgram() {
    kill();
}

void DesktopProgram::kill() {
    process_.kill();
    process_.waitForFinished(kDesktopLimit);
}

void DesktopProgram::signal(int number) const {
    ::kill(static_cast<pid_t>(process_.processId()), number);
}

void DesktopProgram::write(const QString& line) {
    process_.write(line.toUtf8() + '\n');
    process_.waitForBytesWritten(kDesktopLimit);
}

void DesktopProgram::readLines() {
    while (process_.canReadLine())
        lines_.append(QString::fromUtf8(process_.readLine()).trimmed());
}

QStringList DesktopProgram::waitForLine(const QString& line, int limit) {
    return waitForAnyLine({line}, limit);
}

QStringList DesktopProgram::waitForAnyLine(const QStringList& wanted, int limit) {
    const QDeadlineTimer deadline(limit);
    for (;;) {
        const bool ended = !isRunning();  // asked first: its last lines may come with its end
        readLines();
        const auto at = std::find_if(lines_.cbegin(), lines_.cend(),
                                     [&](const QString& line) { return wanted.contains(line); });
        if (at != lines_.cend()) {
            const int count = static_cast<int>(at - lines_.cbegin()) + 1;
            const QStringList found = lines_.mid(0, count);
            lines_ = lines_.mid(count);
            return found;
        }
        if (ended || deadline.hasExpired())
            return {};
        process_.waitForReadyRead(remaining(deadline));
    }
}

bool DesktopProgram::waitForEnd(int limit) {
    if (process_.state() != QProcess::NotRunning && !process_.waitForFinished(limit))
        return false;
    return process_.exitStatus() == QProcess::NormalExit;
}

QByteArray DesktopProgram::errors() {
    // What it has said by now, though nobody has let events come in since.
    if (isRunning())
        process_.waitForReadyRead(0);
    errors_ += process_.readAllStandardError();
    return errors_;
}
