// SPDX-License-Identifier: Apache-2.0
#include "platform/desktop.h"

#include "platform/keymap_x11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QDebug>
#include <QGuiApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>
#include <QVector>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

// This header is C and has members of the name "explicit". After all others, so that none sees the macro.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

// The hot key on X11 is a passive grab of the key on the root windows. The connection is our own, beside
// Qt's: a grab that another program holds is an error answer to us and not one that Qt prints, detectable
// auto-repeat does not change what Qt's widgets see, and no private header of Qt is needed. A press is passed
// on as a client message to the window, which reaches QWidget::nativeEvent through Qt's own connection just
// as another program's message does.

namespace {

using platform::Hotkey;
using platform::HotkeyPlaces;
using platform::Owned;
using platform::readHotkeyPlaces;

constexpr int kKeymapRetryTime = 500;  // ms

/// One passive grab: root window, modifiers, key.
using Grab = std::tuple<xcb_window_t, quint16, xcb_keycode_t>;

/// All combinations of the bits of a mask, the empty one included.
QVector<quint16> combinations(quint16 mask) {
    QVector<quint16> result;
    quint16 subset = mask;
    do {
        result.append(subset);
        subset = static_cast<quint16>((subset - 1) & mask);
    } while (subset != mask);
    return result;
}

/// The X server as the hot key sees it. One per process, a child of the application object, in the GUI
/// thread.
class DesktopLink : public QObject, public QAbstractNativeEventFilter {
public:
    explicit DesktopLink(QObject* parent) : QObject(parent) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        keymapRetry_.setInterval(kKeymapRetryTime);
        connect(&keymapRetry_, &QTimer::timeout, this, [this] {
            keymapChanged_ = true;
            readEvents();
        });
        open();
    }
    ~DesktopLink() override { close(); }

    QString registerKey(xcb_window_t window, const Hotkey& hotkey);
    void unregisterKey(xcb_window_t window);
    platform::NativeMessage meaningOf(const xcb_client_message_event_t& message) const;
    bool nativeEventFilter(const QByteArray& type, void* event, long* result) override;

private:
    bool open();
    void close();
    bool prepareKeyboard();
    xcb_atom_t atom(const char* name);
    bool isRefused(xcb_void_cookie_t cookie);
    bool watchWindow(xcb_window_t window, quint32 eventMask);
    std::set<Grab> wantedGrabs(const HotkeyPlaces& keys) const;
    std::set<Grab> grab(const std::set<Grab>& wanted);
    void ungrab(const std::set<Grab>& unwanted);
    void followKeymap();
    void readEvents();
    void readEventsSoon();
    void handle(const xcb_generic_event_t& event);
    void keyPressed(const xcb_key_press_event_t& press);
    void keyReleased(const xcb_key_release_event_t& release);
    void keySeenByQt(const xcb_key_press_event_t& key);
    void tellWindow(xcb_timestamp_t time);

    xcb_connection_t* connection_ = nullptr;
    QSocketNotifier* notifier_ = nullptr;  // child of this
    quint8 keyboardEvent_ = 0;             // response type of all XKB events; 0: the server has no XKB
    xcb_atom_t cameraMessage_ = XCB_ATOM_NONE;
    xcb_atom_t hotkeyMessage_ = XCB_ATOM_NONE;
    xcb_atom_t managerMessage_ = XCB_ATOM_NONE;

    xcb_window_t window_ = XCB_WINDOW_NONE;  // who has the key; none: not registered
    Hotkey hotkey_;                          // which one
    HotkeyPlaces places_;                    // where it is
    std::set<Grab> grabs_;                   // what the server has granted
    bool keymapChanged_ = false;
    QTimer keymapRetry_;  // runs while the server owes an answer about the keymap
    bool repeatsAreDetectable_ = false;
    xcb_keycode_t heldKey_ = 0;
    xcb_keycode_t releasedKey_ = 0;
    xcb_timestamp_t releaseTime_ = 0;
    bool isHeldInMenu_ = false;
    xcb_timestamp_t menuPressTime_ = 0;
    xcb_timestamp_t menuReleaseTime_ = 0;
};

bool DesktopLink::open() {
    if (connection_ != nullptr)
        return true;
    connection_ = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection_) != 0) {
        close();
        return false;
    }
    cameraMessage_ = atom("KV CAMERA");
    hotkeyMessage_ = atom("hotkey_save_img");
    managerMessage_ = atom("MANAGER");
    if (!prepareKeyboard())
        keyboardEvent_ = 0;
    notifier_ = new QSocketNotifier(xcb_get_file_descriptor(connection_), QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] { readEvents(); });
    readEventsSoon();
    return true;
}

/// Also the way out when the connection broke: the server has then dropped the grabs with it. The atoms stay:
/// they are the server's and mean the same as long as it runs.
void DesktopLink::close() {
    if (notifier_ != nullptr) {
        // Off before its socket closes; deleted later because this may be running within its own signal.
        notifier_->setEnabled(false);
        notifier_->deleteLater();
        notifier_ = nullptr;
    }
    xcb_disconnect(connection_);
    connection_ = nullptr;
    keyboardEvent_ = 0;
    window_ = XCB_WINDOW_NONE;
    grabs_.clear();
    keymapChanged_ = false;
    keymapRetry_.stop();
    heldKey_ = 0;
    releasedKey_ = 0;
}

bool DesktopLink::prepareKeyboard() {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_, &xcb_xkb_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    const Owned<xcb_xkb_use_extension_reply_t> use(
        xcb_xkb_use_extension_reply(connection_, xcb_xkb_use_extension(connection_, 1, 0), nullptr));
    if (use == nullptr || use->supported == 0)
        return false;
    keyboardEvent_ = extension->first_event;

    // State events come with every Shift otherwise; only the group (the layout in use) moves keys.
    constexpr quint16 whole = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr quint16 parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events_details_t details;
    std::memset(&details, 0, sizeof details);
    details.affectState = XCB_XKB_STATE_PART_GROUP_STATE;
    details.stateDetails = XCB_XKB_STATE_PART_GROUP_STATE;
    xcb_xkb_select_events_aux(connection_, XCB_XKB_ID_USE_CORE_KBD, whole | XCB_XKB_EVENT_TYPE_STATE_NOTIFY,
                              0, whole, parts, parts, &details);

    // With this a held key repeats as presses alone. A server that does not know it is seen through by time.
    const quint32 flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const Owned<xcb_xkb_per_client_flags_reply_t> flags(xcb_xkb_per_client_flags_reply(
        connection_, xcb_xkb_per_client_flags(connection_, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0),
        nullptr));
    repeatsAreDetectable_ = flags != nullptr && (flags->value & flag) != 0;
    return true;
}

xcb_atom_t DesktopLink::atom(const char* name) {
    const auto length = static_cast<quint16>(std::strlen(name));
    const Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name), nullptr));
    return reply != nullptr ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

bool DesktopLink::isRefused(xcb_void_cookie_t cookie) {
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    return error != nullptr;
}

bool DesktopLink::watchWindow(xcb_window_t window, quint32 eventMask) {
    return !isRefused(
        xcb_change_window_attributes_checked(connection_, window, XCB_CW_EVENT_MASK, &eventMask));
}

std::set<Grab> DesktopLink::wantedGrabs(const HotkeyPlaces& keys) const {
    std::set<Grab> wanted;
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)); screen.rem > 0;
         xcb_screen_next(&screen))
        for (const auto& [held, key] : keys.presses)
            // A keymap that calls one of the held ones a lock would make the key ours without it.
            for (const quint16 lock : combinations(static_cast<quint16>(keys.locks & ~held)))
                wanted.emplace(screen.data->root, static_cast<quint16>(held | lock), key);
    return wanted;
}

/// Returns the grabs that were granted. All requests go out before the first answer is read: one round trip.
std::set<Grab> DesktopLink::grab(const std::set<Grab>& wanted) {
    QVector<QPair<Grab, xcb_void_cookie_t>> requests;
    for (const Grab& grab : wanted) {
        const auto& [root, modifiers, key] = grab;
        requests.append({grab, xcb_grab_key_checked(connection_, 0, root, modifiers, key, XCB_GRAB_MODE_ASYNC,
                                                    XCB_GRAB_MODE_ASYNC)});
    }
    std::set<Grab> granted;
    for (const auto& [grab, cookie] : qAsConst(requests))
        if (!isRefused(cookie))
            granted.insert(grab);
    return granted;
}

void DesktopLink::ungrab(const std::set<Grab>& unwanted) {
    for (const auto& [root, modifiers, key] : unwanted)
        xcb_ungrab_key(connection_, key, root, modifiers);
}

QString DesktopLink::registerKey(xcb_window_t window, const Hotkey& hotkey) {
    if (!open() || keyboardEvent_ == 0)
        return QStringLiteral("the X server cannot be asked for it");
    if (window_ != XCB_WINDOW_NONE) {
        const bool isSame = window_ == window && hotkey_.text() == hotkey.text();
        return isSame ? QString() : QStringLiteral("this program has a hot key already");
    }
    // The server tells when the window goes; it also tells now if there is none of that number.
    if (!watchWindow(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY))
        return QStringLiteral("there is no such window");
    const std::optional<HotkeyPlaces> places = readHotkeyPlaces(connection_, hotkey);
    const std::set<Grab> wanted = wantedGrabs(places.value_or(HotkeyPlaces()));
    const std::set<Grab> granted = grab(wanted);
    if (wanted.empty() || granted != wanted || xcb_connection_has_error(connection_) != 0) {
        ungrab(granted);
        watchWindow(window, XCB_EVENT_MASK_NO_EVENT);
        readEventsSoon();
        if (!places || xcb_connection_has_error(connection_) != 0)
            return QStringLiteral("the X server does not say where the keys are");
        return (wanted.empty() ? QStringLiteral("the keyboard layout has no %1")
                               : QStringLiteral("%1 is in use by another program"))
            .arg(hotkey.text());
    }
    window_ = window;
    hotkey_ = hotkey;
    places_ = *places;
    grabs_ = granted;
    readEventsSoon();
    return {};
}

void DesktopLink::unregisterKey(xcb_window_t window) {
    if (connection_ == nullptr || window_ == XCB_WINDOW_NONE || window_ != window)
        return;
    ungrab(grabs_);
    grabs_.clear();
    keymapRetry_.stop();
    window_ = XCB_WINDOW_NONE;
    // The answer to this request also says that the key is free now, for whoever asks for it next.
    watchWindow(window, XCB_EVENT_MASK_NO_EVENT);
    readEventsSoon();
}

/// Moves the grabs to where the key and the lock keys are now. What stays is not touched, so no press is
/// missed. As long as nobody says where the key is, or it is nowhere, its last places are kept.
void DesktopLink::followKeymap() {
    const QByteArray name = hotkey_.text().toUtf8();
    std::optional<HotkeyPlaces> places = readHotkeyPlaces(connection_, hotkey_);
    if (!places) {
        if (!keymapRetry_.isActive() && xcb_connection_has_error(connection_) == 0) {
            qWarning("The X server does not say where the keys are now; %s stays in its place",
                     name.constData());
            keymapRetry_.start();
        }
        return;
    }
    keymapRetry_.stop();
    if (places->presses.empty()) {
        qWarning("The keyboard layout has no %s; it stays in its place", name.constData());
        places->presses = places_.presses;
    }
    places_ = *places;
    const std::set<Grab> wanted = wantedGrabs(*places);
    std::set<Grab> missing;
    std::set<Grab> unwanted;
    std::set_difference(wanted.begin(), wanted.end(), grabs_.begin(), grabs_.end(),
                        std::inserter(missing, missing.end()));
    std::set_difference(grabs_.begin(), grabs_.end(), wanted.begin(), wanted.end(),
                        std::inserter(unwanted, unwanted.end()));
    const std::set<Grab> granted = grab(missing);
    if (granted != missing)
        qWarning("%s of the new keyboard layout is in use by another program", name.constData());
    ungrab(unwanted);
    for (const Grab& gone : unwanted)
        grabs_.erase(gone);
    grabs_.insert(granted.begin(), granted.end());
}

/// Waiting for an answer can take events off the socket that the notifier then never reports, so every such
/// wait is followed by a look into the queue.
void DesktopLink::readEventsSoon() {
    QMetaObject::invokeMethod(
        this, [this] { readEvents(); }, Qt::QueuedConnection);
}

void DesktopLink::readEvents() {
    while (connection_ != nullptr) {
        while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection_)})
            handle(*event);
        // A layout change comes as a flock of events: follow it once, after the last.
        if (std::exchange(keymapChanged_, false) && window_ != XCB_WINDOW_NONE) {
            followKeymap();
            continue;
        }
        xcb_flush(connection_);
        if (xcb_connection_has_error(connection_) == 0)
            return;
        if (window_ != XCB_WINDOW_NONE)
            qWarning() << "The X server closed the hot key's connection";
        close();
    }
}

void DesktopLink::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_KEY_PRESS)
        keyPressed(reinterpret_cast<const xcb_key_press_event_t&>(event));
    else if (type == XCB_KEY_RELEASE)
        keyReleased(reinterpret_cast<const xcb_key_release_event_t&>(event));
    else if (type == XCB_MAPPING_NOTIFY || (keyboardEvent_ != 0 && type == keyboardEvent_))
        keymapChanged_ = true;
    else if (type == XCB_DESTROY_NOTIFY)
        unregisterKey(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
}

/// A repeat is a press of a key that is down; without detectable auto-repeat, and only then since somebody
/// may be as fast, one that was released in the same millisecond.
void DesktopLink::keyPressed(const xcb_key_press_event_t& press) {
    const bool repeated =
        press.detail == heldKey_ ||
        (!repeatsAreDetectable_ && press.detail == releasedKey_ && press.time == releaseTime_);
    heldKey_ = press.detail;
    // A key that went down while we had it may still repeat after it was given back.
    if (!repeated)
        tellWindow(press.time);
}

void DesktopLink::tellWindow(xcb_timestamp_t time) {
    if (window_ == XCB_WINDOW_NONE)
        return;
    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window_;
    // The window passes it on to Qt, which reports each type that it does not know in the log. This one it
    // knows, and leaves alone but for the names that it asked for.
    message.type = managerMessage_;
    message.data.data32[0] = time;
    message.data.data32[1] = hotkeyMessage_;
    // With an empty mask the event goes to the window's creator, which is Qt's connection. Checked: the
    // window may have gone a moment ago, and an order of events that nothing else on the server can overtake
    // is worth a round trip.
    const auto sent = xcb_send_event_checked(connection_, 0, window_, XCB_EVENT_MASK_NO_EVENT,
                                             reinterpret_cast<const char*>(&message));
    if (isRefused(sent))
        unregisterKey(window_);
}

void DesktopLink::keyReleased(const xcb_key_release_event_t& release) {
    if (release.detail == heldKey_)
        heldKey_ = 0;
    releasedKey_ = release.detail;
    releaseTime_ = release.time;
}

/// While a menu of ours is open it has the whole keyboard, the hot key too: then the server gives the key to
/// Qt and not to us. At all other times Qt never sees it.
bool DesktopLink::nativeEventFilter(const QByteArray& type, void* event, long*) {
    // With the bit of an event that some program has sent it is none of the keyboard's.
    if (type != "xcb_generic_event_t" || window_ == XCB_WINDOW_NONE)
        return false;
    const auto response = static_cast<const xcb_generic_event_t*>(event)->response_type;
    if (response == XCB_KEY_PRESS || response == XCB_KEY_RELEASE)
        keySeenByQt(*static_cast<const xcb_key_press_event_t*>(event));
    return false;
}

/// A repeat is a release and a press in the same millisecond, or a press alone where Qt has asked the server
/// for that. The last release may go to another program, if the menu is closed by then.
void DesktopLink::keySeenByQt(const xcb_key_press_event_t& key) {
    constexpr xcb_timestamp_t kLongestRepeatTime = 1500;  // ms
    constexpr unsigned kModifiers = 0xff;                 // the rest are buttons and keyboard groups
    const bool isOurs = std::any_of(grabs_.begin(), grabs_.end(), [&](const Grab& grab) {
        return std::get<xcb_keycode_t>(grab) == key.detail;
    });
    if (!isOurs)
        return;
    if (key.response_type == XCB_KEY_RELEASE) {
        isHeldInMenu_ = false;
        menuReleaseTime_ = key.time;
        return;
    }
    if (grabs_.count(Grab{key.root, static_cast<quint16>(key.state & kModifiers), key.detail}) == 0)
        return;
    const bool repeated =
        (isHeldInMenu_ || key.time == menuReleaseTime_) && key.time - menuPressTime_ < kLongestRepeatTime;
    isHeldInMenu_ = true;
    menuPressTime_ = key.time;
    if (!repeated)
        tellWindow(key.time);
}

platform::NativeMessage DesktopLink::meaningOf(const xcb_client_message_event_t& message) const {
    if (message.type == XCB_ATOM_NONE)
        return platform::NativeMessage::None;
    if (message.type == cameraMessage_)
        return platform::NativeMessage::CameraMessage;
    const bool isHotkey = message.type == managerMessage_ && hotkeyMessage_ != XCB_ATOM_NONE &&
                          message.data.data32[1] == hotkeyMessage_;
    return isHotkey ? platform::NativeMessage::SaveHotkey : platform::NativeMessage::None;
}

/// Made at the first use. Null where Qt's windows are not those of an X server, whatever DISPLAY says.
DesktopLink* desktopLink() {
    static QPointer<DesktopLink> link;
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    if (link == nullptr)
        link = new DesktopLink(QCoreApplication::instance());
    return link;
}

}  // namespace

QString platform::registerSaveHotkey(WId window, const Hotkey& hotkey) {
    DesktopLink* link = desktopLink();
    if (link == nullptr || window == 0)
        return QStringLiteral("there are no hot keys here");
    return link->registerKey(static_cast<xcb_window_t>(window), hotkey);
}

void platform::unregisterSaveHotkey(WId window) {
    if (DesktopLink* link = desktopLink())
        link->unregisterKey(static_cast<xcb_window_t>(window));
}

platform::NativeMessage platform::classify(const QByteArray& eventType, const void* message) {
    if (message == nullptr || eventType != "xcb_generic_event_t")
        return NativeMessage::None;
    // The top bit says that a program sent the event, which is so with every message that matters here.
    const auto& event = *static_cast<const xcb_generic_event_t*>(message);
    if ((event.response_type & 0x7f) != XCB_CLIENT_MESSAGE)
        return NativeMessage::None;
    const DesktopLink* link = desktopLink();
    return link != nullptr ? link->meaningOf(*static_cast<const xcb_client_message_event_t*>(message))
                           : NativeMessage::None;
}
