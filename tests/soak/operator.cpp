// SPDX-License-Identifier: Apache-2.0
#include "soak/operator.h"

#include <QDateTime>
#include <QFileInfo>
#include <QThread>
#include <functional>

#include "soak/clock.h"

namespace {

constexpr int kLimit = 15000;     // ms until the effect of an action has to be there; pictures hold it up
constexpr int kMostPictures = 6;  // outstanding
constexpr int kSilence = 8000;    // ms without any news after which a picture is missing
constexpr int kNewFrames = 600;   // ms in which all tiles have got new frames

/// Stops of the Tab key from the settings dialog's tabs to a control of the second page.
constexpr int kToQuality = 3;
constexpr int kToDelay = 4;
constexpr int kToType = 5;

QStringList repeated(const QString& key, int times) {
    QStringList list;
    for (int i = 0; i < times; ++i)
        list.append(key);
    return list;
}

/// To a control, something there, and back to the tabs, where the next visit begins.
QStringList visit(int stops, const QStringList& there) {
    return repeated(QStringLiteral("Tab"), stops) + there + repeated(QStringLiteral("shift+Tab"), stops);
}

}  // namespace

Operator::Operator(Workplace& place, PictureStore& store, const FolderWatch& watch, Controller& machine,
                   quint32 seed)
    : workplace(place), pictures(store), folder(watch), controller(machine), random(seed) {}

int Operator::number(int first, int last) {
    return std::uniform_int_distribution<int>(first, last)(random);
}

bool Operator::note(const QString& action, bool isSeen) {
    ++done[action];
    if (!isSeen)
        missed.append(action + QStringLiteral(" (") + workplace.activeTitle() + QLatin1Char(')'));
    return isSeen;
}

bool Operator::waitForKey(const QString& key, const QString& value) {
    return workplace.waitFor([&] { return workplace.setting(key) == value; }, kLimit);
}

void Operator::waitForRoom() {
    workplace.waitFor([this] { return pictures.outstanding() < kMostPictures; }, kSilence);
}

void Operator::settle() {
    workplace.waitFor(
        [this] {
            return pictures.outstanding() == 0 ||
                   (folder.writingNow() == 0 && nowMs() - pictures.lastChange() > kSilence);
        },
        10 * kSilence);
    pictures.settle();
}

bool Operator::begin() {
    const QByteArray marks = workplace.cornerMarks(0);
    if (marks.isEmpty() || !workplace.write(QStringLiteral("mark0.txt"), marks))
        return false;
    calibrate();
    return missed.isEmpty();
}

void Operator::act() {
    using Action = void (Operator::*)();
    struct Entry {
        int weight;
        Action action;
    };
    static const QVector<Entry> kActions{{14, &Operator::scan},
                                         {6, &Operator::freeze},
                                         {5, &Operator::pauseAndPlay},
                                         {12, &Operator::zoom},
                                         {5, &Operator::switchLanguage},
                                         {5, &Operator::fullScreen},
                                         {3, &Operator::readAbout},
                                         {5, &Operator::saveCorners},
                                         {10, &Operator::chooseType},
                                         {8, &Operator::moveQuality},
                                         {4, &Operator::clearDelay},
                                         {5, &Operator::calibrate},
                                         {4, &Operator::toggleCorrection},
                                         {5, &Operator::saveByMenu}};
    constexpr int kSaveWeight = 14;  // the save key
    int total = kSaveWeight;
    for (const Entry& entry : kActions)
        total += entry.weight;
    int left = number(0, total - 1);
    for (const Entry& entry : kActions) {
        left -= entry.weight;
        if (left < 0) {
            (this->*entry.action)();
            return;
        }
    }
    pressSave(number(1, 3));
}

// ---- pictures ------------------------------------------------------------------------------------

void Operator::pressSave(int times) {
    for (int i = 0; i < times; ++i) {
        waitForRoom();
        pictures.expectSnapshot(QStringLiteral("hot key"));
        note(QStringLiteral("hot key"), workplace.desktop.key(QStringLiteral("ctrl+w")));
    }
}

void Operator::saveByMenu() {
    waitForRoom();
    pictures.expectSnapshot(QStringLiteral("menu"));
    note(QStringLiteral("save in the menu"), workplace.choose(Menu::File, 3));
}

void Operator::scan() {
    for (int i = number(1, 3); i > 0; --i) {
        waitForRoom();
        if (!workplace.activateMain())
            return;
        const QString name = QStringLiteral("b%1").arg(++code, 6, 10, QLatin1Char('0'));
        pictures.expectNamed(name);
        QStringList typed;
        for (const QChar letter : name)
            typed.append(letter);
        note(QStringLiteral("barcode"), workplace.keys(typed + QStringList(QStringLiteral("Return"))));
    }
}

void Operator::freeze() {
    const QString key = QStringLiteral("File/FreezeImage");
    workplace.choose(Menu::File, -1);
    note(QStringLiteral("freeze"), waitForKey(key, QStringLiteral("true")));
    pressSave(1);
    workplace.choose(Menu::File, -1);
    note(QStringLiteral("unfreeze"), waitForKey(key, QStringLiteral("false")));
}

void Operator::pauseAndPlay() {
    note(QStringLiteral("pause"), workplace.choose(Menu::File, 2));
    pressSave(1);
    note(QStringLiteral("play"), workplace.choose(Menu::File, 1));
}

// ---- the view ------------------------------------------------------------------------------------

/// Zoom Fit writes the zoom, Reset writes 1. A window that has just got another size fits the view by itself,
/// perhaps at once after a reset: then once more.
bool Operator::fit() {
    const QString key = QStringLiteral("File/Zoom");
    constexpr int kTries = 3;
    for (int i = 0; i < kTries; ++i) {
        workplace.choose(Menu::View, 4);
        if (!workplace.waitFor([&] { return workplace.setting(key) == QLatin1String("1"); }, kLimit / kTries))
            continue;
        workplace.choose(Menu::View, 3);
        return workplace.waitFor([&] { return workplace.setting(key) != QLatin1String("1"); }, kLimit);
    }
    return false;
}

void Operator::zoom() {
    for (int i = number(1, 4); i > 0; --i) {
        if (number(0, 1) == 0)
            note(QStringLiteral("zoom in"), workplace.choose(Menu::View, 1));
        else
            note(QStringLiteral("zoom out"), workplace.choose(Menu::View, 2));
    }
    note(QStringLiteral("zoom reset and fit"), fit());
}

void Operator::switchLanguage() {
    const QString key = QStringLiteral("File/Lang");
    const bool wasEnglish = workplace.setting(key) == QLatin1String("1");
    workplace.choose(Menu::Language, 1);
    note(QStringLiteral("language"), waitForKey(key, QLatin1String(wasEnglish ? "2" : "1")));
}

void Operator::fullScreen() {
    const QSize screen(1920, 1080);
    if (!workplace.activateMain())
        return;
    workplace.keys({QStringLiteral("F4")});
    note(QStringLiteral("full screen"),
         workplace.waitFor([&] { return workplace.windowSize() == screen; }, kLimit));
    pressSave(1);
    workplace.keys({QStringLiteral("Escape")});
    note(QStringLiteral("back from full screen"),
         workplace.waitFor([&] { return workplace.windowSize() != screen; }, kLimit));
}

void Operator::readAbout() {
    workplace.choose(Menu::Help, 1);
    const bool isUp = workplace.waitForBox(kLimit);
    workplace.keys({QStringLiteral("Escape")});
    note(QStringLiteral("about"), isUp && workplace.desktop.waitForActive(workplace.window(), kLimit));
}

// ---- settings ------------------------------------------------------------------------------------

bool Operator::openSettings() {
    workplace.choose(Menu::Tools, 1);
    if (!workplace.waitForBox(kLimit))
        return false;
    if (!isOnCapturePage)
        workplace.keys({QStringLiteral("ctrl+Tab")});
    isOnCapturePage = true;
    return true;
}

bool Operator::closeSettings() {
    return workplace.keys({QStringLiteral("Escape")}) &&
           workplace.desktop.waitForActive(workplace.window(), kLimit);
}

/// Space makes the three one stop of the Tab key, which they are only once one of them was pressed. Then to
/// JPG from wherever the choice is - it does not go round -, and from there to the wanted one.
void Operator::chooseType() {
    const int type = number(0, 2);
    QStringList arrows{QStringLiteral("space"), QStringLiteral("Left"), QStringLiteral("Left"),
                       QStringLiteral("Right")};
    if (type != 1)
        arrows.append(type == 0 ? QStringLiteral("Left") : QStringLiteral("Right"));
    bool isSeen = openSettings() && workplace.keys(visit(kToType, arrows)) &&
                  waitForKey(QStringLiteral("File/Type"), QString::number(type));
    isSeen = closeSettings() && isSeen;
    static const QStringList kNames{QStringLiteral("type BMP"), QStringLiteral("type JPG"),
                                    QStringLiteral("type PNG")};
    note(kNames[type], isSeen);
}

void Operator::moveQuality() {
    const QString key = QStringLiteral("File/Quality");
    const int before = workplace.setting(key).toInt();
    const int steps = number(1, 8);
    const int after = before > 75 ? before - steps : before + steps;
    const QString arrow = after > before ? QStringLiteral("Right") : QStringLiteral("Left");
    bool isSeen = openSettings() && workplace.keys(visit(kToQuality, repeated(arrow, steps))) &&
                  waitForKey(key, QString::number(after));
    isSeen = closeSettings() && isSeen;
    note(QStringLiteral("quality"), isSeen);
}

/// The machine may set another one at any time, so the key is not waited for.
void Operator::clearDelay() {
    const bool isTyped =
        openSettings() && workplace.keys(visit(kToDelay, {QStringLiteral("ctrl+a"), QStringLiteral("0")}));
    note(QStringLiteral("delay 0"), closeSettings() && isTyped);
}

// ---- corners and calibration ---------------------------------------------------------------------

void Operator::beSilent() {
    controller.pause();
    settle();
}

/// A picture of the new size is the measure of those that follow.
void Operator::goOn() {
    QThread::msleep(kNewFrames);
    note(QStringLiteral("fit"), fit());
    pictures.expectNewSize();
    pictures.expectSnapshot(QStringLiteral("hot key, new size"));
    note(QStringLiteral("hot key"), workplace.desktop.key(QStringLiteral("ctrl+w")));
    settle();
    controller.resume();
}

void Operator::saveCorners() {
    const QString file = workplace.file(QStringLiteral("mark0.txt"));
    const QDateTime before = QFileInfo(file).lastModified();
    workplace.choose(Menu::Calibrate, -2);
    note(QStringLiteral("save corners"), workplace.waitFor(
                                             [&] {
                                                 QFileInfo now(file);
                                                 now.setCaching(false);
                                                 return now.exists() && now.lastModified() > before;
                                             },
                                             kLimit));
}

bool Operator::placeOverlay() {
    workplace.choose(Menu::Tools, 2);
    const QSize size = workplace.windowSize();
    workplace.click({size.width() / 2, size.height() / 2});
    return workplace.waitFor(
        [this] { return !workplace.setting(QStringLiteral("File/BarcodeMark")).isEmpty(); }, kLimit);
}

void Operator::calibrate() {
    beSilent();
    workplace.choose(Menu::Calibrate, -1);
    note(QStringLiteral("load corners"),
         workplace.waitFor([this] { return workplace.setting(QStringLiteral("File/BarcodeMark")).isEmpty(); },
                           kLimit));
    const QString file = workplace.file(QStringLiteral("Cal3.xml"));
    const QDateTime before = QFileInfo(file).lastModified();
    workplace.choose(Menu::Calibrate, 3);
    bool isSeen = workplace.waitForBox(kLimit);
    workplace.keys({QStringLiteral("1"), QStringLiteral("0"), QStringLiteral("Return")});
    isSeen = isSeen && workplace.desktop.waitForActive(workplace.window(), kLimit) &&
             workplace.waitFor(
                 [&] {
                     QFileInfo now(file);
                     now.setCaching(false);
                     return now.exists() && (!before.isValid() || now.lastModified() > before);
                 },
                 kLimit) &&
             waitForKey(QStringLiteral("File/Trans"), QStringLiteral("1"));
    note(QStringLiteral("execute"), isSeen);

    QThread::msleep(kNewFrames);
    const int written = folder.settingsWritten();
    const QPoint button = workplace.buttonBehindSeparator();
    isSeen = !button.isNull() && workplace.click(button) &&
             workplace.waitFor([&] { return folder.settingsWritten() > written; }, kLimit);
    note(QStringLiteral("rearrange"), isSeen);
    note(QStringLiteral("place overlay"), placeOverlay());
    goOn();
}

void Operator::toggleCorrection() {
    const QString key = QStringLiteral("File/Trans");
    const bool wasOn = workplace.setting(key) == QLatin1String("1");
    beSilent();
    workplace.choose(Menu::Calibrate, 4);
    note(QStringLiteral("correction on or off"), waitForKey(key, QLatin1String(wasOn ? "0" : "1")));
    goOn();
}
