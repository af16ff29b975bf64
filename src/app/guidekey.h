// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QString>

/// Where the guide begins in one of LanguageScope's languages, or in the other one if it is only there in
/// that: beside the program, in a build folder, or where the system keeps documents. `programFolder` is the
/// program's own. Empty if it is in none of these places.
QString guidePage(const QString& programFolder, int language);

/// F1, in whichever window of the program the keyboard is, dialogs and boxes included: shows the guide, in
/// the language that is on screen, in the system's browser. Without a guide in that language there is a line
/// in the log; without any guide, or a browser, nothing else. As long as it lives; one in the program. GUI
/// thread.
class GuideKey : public QObject {
public:
    /// The guide is looked for from `programFolder` on.
    explicit GuideKey(QString programFolder);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void open() const;

    const QString folder;
};
