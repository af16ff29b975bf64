// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <random>

#include "soak/controller.h"
#include "soak/picturestore.h"
#include "soak/watches.h"
#include "soak/workplace.h"

/// The person at the program's window, by keyboard and mouse, with a barcode reader. What can be seen of an
/// action - a key of setting.ini, a file, a window - is waited for; what does not come is written down.
class Operator {
public:
    Operator(Workplace& place, PictureStore& store, const FolderWatch& watch, Controller& machine,
             quint32 seed);

    /// Makes the mark file, calibrates for the first time and has a first picture. False: it did not come to
    /// that.
    bool begin();
    /// One action, chosen by chance.
    void act();
    /// Waits until all pictures that were commanded are there; the rest counts as missing.
    void settle();
    /// Presses the save key this often.
    void pressSave(int times);

    const QMap<QString, int>& counts() const { return done; }
    /// Actions whose effect did not come.
    const QStringList& unseen() const { return missed; }

private:
    int number(int first, int last);
    bool note(const QString& action, bool isSeen);
    bool waitForKey(const QString& key, const QString& value);
    void waitForRoom();

    void saveByMenu();
    void scan();
    void freeze();
    void pauseAndPlay();
    void zoom();
    void switchLanguage();
    void fullScreen();
    void readAbout();
    void saveCorners();
    bool openSettings();
    bool closeSettings();
    void chooseType();
    void moveQuality();
    void clearDelay();
    // These change the size of the pictures: the machine is silent meanwhile.
    void calibrate();
    void toggleCorrection();
    bool placeOverlay();
    bool fit();
    void beSilent();
    void goOn();

    Workplace& workplace;
    PictureStore& pictures;
    const FolderWatch& folder;
    Controller& controller;
    std::mt19937 random;
    QMap<QString, int> done;
    QStringList missed;
    int code = 0;  // of the last barcode
    bool isOnCapturePage = false;
};
