#include "app/statusnote.h"

#include <QPainter>
#include <QStringList>
#include <algorithm>

StatusNote::StatusNote(QWidget* parent) : QLabel(parent) {
    setObjectName(QStringLiteral("statusNote"));
    // Names from outside are shown as they are, whatever brackets they hold.
    setTextFormat(Qt::PlainText);
    setStyleSheet(QStringLiteral("QLabel { color: #b00020; font-weight: bold; padding: 0px 6px; }"));
    hide();
}

void StatusNote::tell(About about, const QString& problem) {
    notes.erase(
        std::remove_if(notes.begin(), notes.end(), [about](const Note& note) { return note.about == about; }),
        notes.end());
    if (!problem.isEmpty())
        notes.append({about, problem});
    QStringList texts;
    for (const Note& note : qAsConst(notes))
        texts.prepend(note.text);
    setText(texts.value(0));
    const QString all = texts.join(QLatin1Char('\n')).toHtmlEscaped();
    setToolTip(all.isEmpty() ? all : QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(all));
    setVisible(!texts.isEmpty());
}

void StatusNote::paintEvent(QPaintEvent* event) {
    const QRect area = contentsRect();
    if (fontMetrics().horizontalAdvance(text()) <= area.width()) {
        QLabel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(area, int(alignment()) | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, area.width()));
}
