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
    enum class About { Picture, Marks, Calibration, Settings, SerialLine };

    explicit StatusNote(QWidget* parent = nullptr);

    /// Shows what went wrong; an empty text says that nothing did. Of several notes the last one told is
    /// seen, all are in the tool tip.
    void tell(About about, const QString& problem);

protected:
    /// Ends with dots where there is not enough room; the tool tip has all of it.
    void paintEvent(QPaintEvent* event) override;

private:
    struct Note {
        About about;
        QString text;
    };
    QList<Note> notes;  // oldest first
};
