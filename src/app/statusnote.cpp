// SPDX-License-Identifier: Apache-2.0
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
    const auto known =
        std::find_if(notes.begin(), notes.end(), [about](const Note& note) { return note.about == about; });
    if (about == About::Cameras && known != notes.end() && !problem.isEmpty()) {
        known->text = problem;
        showNotes();
        return;
    }
    notes.erase(
        std::remove_if(notes.begin(), notes.end(), [about](const Note& note) { return note.about == about; }),
        notes.end());
    if (!problem.isEmpty())
        notes.append({about, problem});
    showNotes();
}

void StatusNote::showNotes() {
    QStringList texts;
    for (const Note& note : qAsConst(notes))
        texts.prepend(note.text);
    setText(texts.value(0));
    const QString all = texts.join(QLatin1Char('\n')).toHtmlEscaped();
    setToolTip(all.isEmpty() ? all : QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(all));
    setVisible(!texts.isEmpty());
    updateGeometry();  // the number may be another with the same text
    update();
}

QString StatusNote::numbered() const {
    return notes.size() > 1 ? QStringLiteral("(1 of %1) %2").arg(notes.size()).arg(text()) : text();
}

QSize StatusNote::sizeHint() const {
    const QSize hint = QLabel::sizeHint();
    return {
        hint.width() + fontMetrics().horizontalAdvance(numbered()) - fontMetrics().horizontalAdvance(text()),
        hint.height()};
}

void StatusNote::paintEvent(QPaintEvent* event) {
    const QRect area = contentsRect();
    const QString shown = numbered();
    if (notes.size() < 2 && fontMetrics().horizontalAdvance(shown) <= area.width()) {
        QLabel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(area, int(alignment()) | Qt::TextSingleLine,
                     fontMetrics().elidedText(shown, Qt::ElideRight, area.width()));
}
