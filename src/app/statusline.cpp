#include "app/statusline.h"

#include <QLabel>
#include <QStatusBar>
#include <cstdint>

namespace {

constexpr int kMessageTicks = 60;  // rate updates that a message outlives at most

// Process-wide on purpose: it counts on whatever window there is.
int32_t fpsTicks = 0;

}  // namespace

StatusLine::StatusLine(QStatusBar* bar, QObject* parent)
    : QObject(parent),
      statusLeft(new QLabel(QString(36, QLatin1Char(' ')), bar)),
      statusRight(new QLabel(bar)),
      statusNote(new StatusNote(bar)) {
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

void StatusLine::showMessage(const QString& text) {
    statusLeft->setText(text);
}

void StatusLine::keepMessage() {
    fpsTicks = 0;
}

void StatusLine::showRates(const QString& text) {
    statusRight->setText(text);
    if (++fpsTicks % kMessageTicks == 0)
        statusLeft->clear();
}
