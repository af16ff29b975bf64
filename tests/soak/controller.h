// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <atomic>
#include <random>

#include "soak/picturestore.h"
#include "soak/workplace.h"

/// The machine controller at the other end of the serial line: a stream of deliveries by a thread of its own,
/// valid ones of every command, broken ones and noise, some of them TRIGGERs and some of these in bursts, as
/// fast as the line's rules allow and also while pictures are being written. A gentle one waits for every
/// picture before it says the next word.
class Controller : public Watch {
public:
    Controller(Workplace& place, PictureStore& store, quint32 seed, bool isGentle);
    ~Controller() override;

    /// Says no more until resume(), from the return on.
    void pause();
    void resume() { paused = false; }

    /// Once it has stopped, or is paused.
    const QMap<QString, int>& counts() const { return sent; }
    /// Deliveries that went out while the last one had not been taken off the line for long.
    int backlogs() const { return backlog; }

private:
    void turn();
    void next();
    void deliver(const QString& kind, const QByteArray& bytes);
    void trigger();
    int number(int first, int last);
    QByteArray parameter(const QByteArray& word, int first, int last);
    QByteArray noise();
    bool mayGoOn() const { return !isStopping() && !pauseWanted; }

    Workplace& workplace;
    PictureStore& pictures;
    const bool gentle;
    std::mt19937 random;
    std::atomic<bool> pauseWanted{false};
    std::atomic<bool> paused{false};
    QMap<QString, int> sent;
    int backlog = 0;
    double lastSent = 0;  // ms of nowMs()
};
