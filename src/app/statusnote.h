// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLabel>
#include <QList>
#include <QString>

/// The place in the status bar where failures are seen, between the messages and the rates: their texts are
/// fixed and say "Saved image" whatever became of it. Hidden while there is nothing to say. GUI thread.
class StatusNote : public QLabel {
    Q_OBJECT

public:
    /// What a note is about. Each has at most one; the next success of its kind takes it away.
    enum class About {
        Picture,
        Measures,
        Marks,
        Corners,
        Calibration,
        Settings,
        SerialLine,
        Cameras,
        Load,
        Log
    };

    explicit StatusNote(QWidget* parent = nullptr);

    /// Shows what went wrong; an empty text says that nothing did. Of several notes the last one told is
    /// seen, with their number before it, all are in the tool tip. The text about the cameras counts the
    /// seconds: told again, it keeps its place.
    void tell(About about, const QString& problem);

    QSize sizeHint() const override;
    /// Of any width: a text that is too long for the window must not make it wider than the screen.
    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    /// Ends with dots where there is not enough room; the tool tip has all of it.
    void paintEvent(QPaintEvent* event) override;

private:
    struct Note {
        About about;
        QString text;
    };
    void showNotes();
    /// What is seen: the text, and with several notes their number before it.
    QString numbered() const;

    QList<Note> notes;  // oldest first
};
