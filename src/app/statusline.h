#pragma once

#include <QObject>
#include <QString>

#include "app/statusnote.h"

class QLabel;
class QStatusBar;

/// The labels of the status bar: messages on the left, rates on the right, what went wrong between them. GUI
/// thread.
class StatusLine : public QObject {
    Q_OBJECT

public:
    /// Puts the labels into `bar`.
    StatusLine(QStatusBar* bar, QObject* parent = nullptr);

    /// A message, as it is, whatever brackets it holds; of several lines the first is seen.
    void showMessage(const QString& text);
    /// The message of the moment stays for a full minute from now on.
    void keepMessage();
    /// Once a second: the text of the rates. Once a minute it takes the message away.
    void showRates(const QString& text);
    /// Shows a failure, or with an empty text that there is none any more.
    void note(StatusNote::About about, const QString& problem) { statusNote->tell(about, problem); }
    /// Shows what `source` says by its signal problemChanged(), from now on.
    template <class Source>
    void follow(StatusNote::About about, Source* source) {
        connect(source, &Source::problemChanged, this,
                [this, about](const QString& problem) { note(about, problem); });
    }

private:
    QLabel* statusLeft;      // child of the status bar
    QLabel* statusRight;     // child of the status bar
    StatusNote* statusNote;  // child of the status bar
};
