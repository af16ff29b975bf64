// SPDX-License-Identifier: Apache-2.0
#include "app/statusline.h"

#include <QLabel>
#include <QStatusBar>
#include <cstdint>

#include "app/programlog.h"
#include "live/livetiles.h"

namespace {

constexpr int kMessageTicks = 60;  // rate updates that a message outlives at most

// Process-wide on purpose: it counts on whatever window there is.
int32_t fpsTicks = 0;

void noteLines(const QStringList& lines) {
    for (const QString& line : lines)
        noteInLog(line);
}

}  // namespace

StatusLine::StatusLine(QStatusBar* bar, QObject* parent)
    : QObject(parent),
      statusLeft(new QLabel(QString(36, QLatin1Char(' ')), bar)),
      statusRight(new QLabel(bar)),
      statusNote(new StatusNote(bar)) {
    clock.start();
    statusLeft->setTextFormat(Qt::PlainText);
    statusLeft->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    statusLeft->setMinimumSize(statusLeft->sizeHint());
    // The bar does not grow with a text of several lines (a command with its line end).
    statusLeft->setMaximumHeight(statusLeft->sizeHint().height());
    bar->addWidget(statusLeft, 0);

    statusRight->setIndent(3);
    statusRight->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    statusRight->setMinimumSize(statusRight->sizeHint());
    bar->addWidget(statusRight, 1);

    bar->insertWidget(1, statusNote, 0);
    statusNote->hide();  // which the bar has changed
}

StatusLine::~StatusLine() {
    noteLines(journal.rest());
}

void StatusLine::showMessage(const QString& text) {
    statusLeft->setText(text);
    noteLines(journal.message(text, clock.elapsed()));
}

void StatusLine::note(StatusNote::About about, const QString& problem) {
    statusNote->tell(about, problem);
    noteLines(journal.note(about, problem, clock.elapsed()));
}

void StatusLine::keepMessage() {
    fpsTicks = 0;
}

void StatusLine::followTiles(LiveTiles* live) {
    connect(live, &LiveTiles::silenceChanged, this,
            [this](const QString& problem) { note(StatusNote::About::Cameras, problem); });
    connect(live, &LiveTiles::overloadChanged, this,
            [this](const QString& problem) { note(StatusNote::About::Load, problem); });
}

void StatusLine::showRates(const QString& text) {
    statusRight->setText(text);
    noteLines(journal.due(clock.elapsed()));
    const QString trouble = logProblem();
    if (trouble != logTrouble)
        note(StatusNote::About::Log, logTrouble = trouble);
    if (++fpsTicks % kMessageTicks == 0)
        statusLeft->clear();
}
