// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include "app/statusjournal.h"
#include "app/statusnote.h"

class QLabel;
class QStatusBar;
class LiveTiles;

/// The labels of the status bar: messages on the left, rates on the right, what went wrong between them.
/// What the first and the last of these show stands in the log's file, too. GUI thread.
class StatusLine : public QObject {
    Q_OBJECT

public:
    /// Puts the labels into `bar`.
    StatusLine(QStatusBar* bar, QObject* parent = nullptr);
    ~StatusLine() override;

    /// A message, as it is, whatever brackets it holds; of several lines the first is seen.
    void showMessage(const QString& text);
    /// The message of the moment stays for a full minute from now on.
    void keepMessage();
    /// Once a second: the text of the rates, and whether the log is written. Once a minute it takes the
    /// message away.
    void showRates(const QString& text);
    /// Shows a failure, or with an empty text that there is none any more.
    void note(StatusNote::About about, const QString& problem);
    /// Shows what `source` says by its signal problemChanged(), from now on.
    template <class Source>
    void follow(StatusNote::About about, Source* source) {
        connect(source, &Source::problemChanged, this,
                [this, about](const QString& problem) { note(about, problem); });
    }

    /// Shows from now on which tiles get no pictures, and that the PC is overloaded.
    void followTiles(LiveTiles* live);

private:
    QLabel* statusLeft;      // child of the status bar
    QLabel* statusRight;     // child of the status bar
    StatusNote* statusNote;  // child of the status bar
    QString logTrouble;      // as shown
    StatusJournal journal;
    QElapsedTimer clock;
};
