// SPDX-License-Identifier: Apache-2.0
// bivista_key_window TITLE
//
// A window that does what its standard input says and tells what reaches it, a line each: the part of the
// program that the platform functions serve, and the "other program" beside it.
//
//   commands   register [KEY] (Ctrl+W), unregister, unregister-none, destroy, ping, quit
//              deaf, hear: from now on the server's answers about the keymap are lost, or not
//   answers    registered, refused, done, pong
//   reports    hotkey, camera: a native message;  key K, repeat K: a key press in this window;  fence: a
//   client message
//              of the value kFence, which tells that all events before it have been reported

#include "platform/desktop.h"

#include <QApplication>
#include <QKeyEvent>
#include <QKeySequence>
#include <QSocketNotifier>
#include <QWidget>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

// This header is C and has members of the name "explicit". After all others, so that none sees the macro.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace {

void say(const std::string& line) {
    std::cout << line << std::endl;
}

constexpr std::uint32_t kFence = 20;

bool isDeaf = false;

bool isFence(const QByteArray& eventType, const void* message) {
    const auto* event = static_cast<const xcb_client_message_event_t*>(message);
    return eventType == "xcb_generic_event_t" && (event->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
           event->data.data32[0] == kFence;
}

}  // namespace

/// In place of the library's, for the platform functions in this program.
extern "C" xcb_xkb_get_map_reply_t* xcb_xkb_get_map_reply(xcb_connection_t* connection,
                                                          xcb_xkb_get_map_cookie_t cookie,
                                                          xcb_generic_error_t** error) {
    static const auto real =
        reinterpret_cast<decltype(&xcb_xkb_get_map_reply)>(dlsym(RTLD_NEXT, "xcb_xkb_get_map_reply"));
    xcb_xkb_get_map_reply_t* reply = real(connection, cookie, error);
    if (!isDeaf)
        return reply;
    std::free(reply);
    return nullptr;
}

namespace {

class KeyWindow : public QWidget {
public:
    void obey(const std::string& command);

protected:
    bool nativeEvent(const QByteArray& eventType, void* message, long* result) override {
        const platform::NativeMessage meaning = platform::classify(eventType, message);
        if (meaning == platform::NativeMessage::SaveHotkey)
            say("hotkey");
        else if (meaning == platform::NativeMessage::CameraMessage)
            say("camera");
        else if (isFence(eventType, message))
            say("fence");
        return QWidget::nativeEvent(eventType, message, result);
    }

    void keyPressEvent(QKeyEvent* event) override {
        const std::string kind = event->isAutoRepeat() ? "repeat " : "key ";
        const int control = static_cast<int>(event->modifiers() & Qt::ControlModifier);
        say(kind + QKeySequence(event->key() | control).toString().toStdString());
    }
};

void KeyWindow::obey(const std::string& command) {
    if (command.rfind("register", 0) == 0) {
        const QString key = QString::fromStdString(command).section(QLatin1Char(' '), 1);
        const auto reading = platform::readHotkey(key.isEmpty() ? QStringLiteral("Ctrl+W") : key);
        const QString problem = reading.problem.isEmpty()
                                    ? platform::registerSaveHotkey(winId(), reading.hotkey)
                                    : reading.problem;
        if (!problem.isEmpty())
            std::cerr << problem.toStdString() << std::endl;
        say(problem.isEmpty() ? "registered" : "refused");
    } else if (command == "unregister") {
        platform::unregisterSaveHotkey(winId());
        say("done");
    } else if (command == "unregister-none") {
        platform::unregisterSaveHotkey(0);
        platform::unregisterSaveHotkey(winId() + 1);
        say("done");
    } else if (command == "deaf" || command == "hear") {
        isDeaf = command == "deaf";
        say("done");
    } else if (command == "destroy") {
        destroy();
        say("done");
    } else if (command == "ping") {
        // Whatever waits in a socket is read and passed on before the answer.
        QCoreApplication::processEvents();
        say("pong");
    } else if (command == "quit") {
        QCoreApplication::quit();
    }
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    KeyWindow window;
    window.setWindowTitle(application.arguments().value(1));
    window.resize(300, 200);
    window.show();

    std::string unfinished;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &window, [&] {
        char bytes[256];
        const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0) {
            QCoreApplication::quit();
            return;
        }
        unfinished.append(bytes, static_cast<size_t>(count));
        for (size_t end; (end = unfinished.find('\n')) != std::string::npos;) {
            const std::string command = unfinished.substr(0, end);
            unfinished.erase(0, end + 1);
            window.obey(command);
        }
    });
    return QApplication::exec();
}
