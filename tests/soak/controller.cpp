// SPDX-License-Identifier: Apache-2.0
#include "soak/controller.h"

#include <QThread>

#include "soak/clock.h"

namespace {

constexpr int kGap = 60;             // ms between two deliveries, a little more than the program asks for
constexpr int kPatience = 2000;      // ms that a delivery may stay on the line of a busy machine
constexpr int kMostPictures = 6;     // outstanding: a controller does not ask for more than can be written
constexpr int kPictureWait = 10000;  // ms until a picture that does not come is given up
constexpr int kPoll = 2;             // ms

}  // namespace

Controller::Controller(Workplace& place, PictureStore& store, quint32 seed, bool isGentle)
    : workplace(place), pictures(store), gentle(isGentle), random(seed) {
    begin([this] { turn(); });
}

Controller::~Controller() {
    stop();
}

void Controller::pause() {
    paused = false;
    pauseWanted = true;
    while (!paused && workplace.isAlive())
        QThread::msleep(kPoll);
    pauseWanted = false;
}

int Controller::number(int first, int last) {
    return std::uniform_int_distribution<int>(first, last)(random);
}

void Controller::turn() {
    if (pauseWanted)
        paused = true;
    if (paused || !workplace.isAlive()) {
        QThread::msleep(kPoll);
        return;
    }
    next();
}

void Controller::next() {
    const int kind = number(0, 99);
    if (kind < 10) {
        trigger();
    } else if (kind < 13) {
        for (int i = number(3, 5); i > 0 && mayGoOn(); --i)
            trigger();
    } else if (kind < 60) {
        static const QVector<QByteArray> kWords{"GAMMA", "CONTRAST", "EXPOSURE", "GAIN", "ADVANCEDGAIN"};
        const QByteArray word = kWords[number(0, kWords.size() - 1)];
        deliver(QString::fromLatin1(word),
                word == "EXPOSURE" ? parameter(word, 50, 300) : parameter(word, 1, 4));
    } else if (kind < 63) {
        deliver(QStringLiteral("SAVE"),
                number(0, 1) == 0 ? "SAVE" : "save " + QByteArray::number(number(0, 4)));
    } else if (kind < 73) {
        deliver(QStringLiteral("SETDELAY"), "SETDELAY " + QByteArray::number(number(1, 300)) + "\r\n");
    } else if (kind < 88) {
        static const QVector<QByteArray> kBroken{
            "TRIGGE",    "XTRIGGER", "GAIN",  "GAIN 2 -1",        "SETDELAY",    "SETDELAY 0",
            "GAMMA nan", "EXPOSURE", "HELLO", "GAIN  3",          "GAIN 99 3",   "CONTRAST -1 -1",
            "\r\n",      "SAVE 77",  " ",     "gain 1 2 3 4 5 6", "SETDELAY -5", "TRIG GER"};
        deliver(QStringLiteral("broken"), kBroken[number(0, kBroken.size() - 1)]);
    } else {
        deliver(QStringLiteral("noise"), noise());
    }
}

QByteArray Controller::parameter(const QByteArray& word, int first, int last) {
    QByteArray text = number(0, 3) == 0 ? word.toLower() : word;
    if (number(0, 1) == 0)
        text += ' ' + QByteArray::number(number(0, 3));
    return text + ' ' + QByteArray::number(number(first, last)) + (number(0, 2) == 0 ? "\r\n" : "");
}

/// Any bytes, but no letter T: noise that happens to be a command would not be in the books.
QByteArray Controller::noise() {
    QByteArray bytes(number(1, 40), ' ');
    for (char& byte : bytes) {
        byte = static_cast<char>(number(0, 255));
        if (byte == 'T' || byte == 't')
            byte = '?';
    }
    return bytes;
}

void Controller::trigger() {
    const double since = nowMs();
    while (mayGoOn() && pictures.outstanding() >= kMostPictures && nowMs() - since < kPictureWait)
        QThread::msleep(kPoll);
    if (pictures.outstanding() >= kMostPictures && mayGoOn())
        pictures.settle();
    if (mayGoOn())
        deliver(QStringLiteral("TRIGGER"), number(0, 1) == 0 ? "TRIGGER" : "trigger\r\n");
}

void Controller::deliver(const QString& kind, const QByteArray& bytes) {
    const double since = nowMs();
    const auto isFree = [this] { return workplace.isLineFree(); };
    if (gentle) {
        while (workplace.isAlive() && mayGoOn() && !(isFree() && pictures.outstanding() == 0) &&
               nowMs() - since < kPictureWait)
            QThread::msleep(kPoll);
        if (!mayGoOn())
            return;
        if (pictures.outstanding() > 0 && nowMs() - pictures.lastChange() > kPictureWait)
            pictures.settle();
    }
    while (nowMs() - lastSent < kGap || (!isFree() && nowMs() - lastSent < kGap + kPatience))
        QThread::msleep(kPoll);
    if (!isFree())
        ++backlog;
    if (kind == QLatin1String("TRIGGER"))
        pictures.expectSnapshot(kind);
    workplace.send(bytes);
    ++sent[kind];
    lastSent = nowMs();
}
