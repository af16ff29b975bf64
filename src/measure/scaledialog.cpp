// SPDX-License-Identifier: Apache-2.0
#include "measure/scaledialog.h"

#include <QPushButton>
#include <QStringList>
#include <cmath>

#include "ui_scaledialog.h"

namespace {

constexpr int kDigits = 4;          // of what a px is worth
constexpr int kLineDigits = 8;      // of a length that is reckoned with stored numbers
constexpr double kSquare = 0.0005;  // sides that differ by less are shown as one

bool isSize(QSizeF mm) {
    return mm.width() > 0.0 && mm.height() > 0.0;
}

QString number(double value) {
    return QString::number(value, 'g', kDigits);
}

}  // namespace

ScaleDialog::ScaleDialog(const Question& asked, QWidget* parent)
    : QDialog(parent), ui(new Ui::ScaleDialog), question(asked) {
    ui->setupUi(this);
    setModal(true);
    setTexts();
    const CellScale& scale = question.scale;
    ui->sbCellX->showKnown(scale.mm.width());
    ui->sbCellY->showKnown(scale.mm.height());
    ui->cbUnit->setCurrentIndex(scale.unit < 0 || scale.unit > 2 ? 2 : scale.unit);
    ui->rbLine->setEnabled(question.line.has_value());
    ui->lblLine->setVisible(!question.line);
    if (question.line && scale.isValid()) {
        const QLineF& line = *question.line;
        ui->sbLine->showKnown(std::hypot(line.dx() * scale.mm.width() / scale.px.width(),
                                         line.dy() * scale.mm.height() / scale.px.height()),
                              kLineDigits);
    }
    // Somebody who selects a line and asks for the scale means the line, until there is a scale.
    ui->rbLine->setChecked(question.line && !scale.isValid());
    for (SizeBox* box : {ui->sbCellX, ui->sbCellY, ui->sbLine})
        connect(box, QOverload<double>::of(&SizeBox::valueChanged), this, &ScaleDialog::showState);
    connect(ui->rbLine, &QRadioButton::toggled, this, &ScaleDialog::showState);
    connect(ui->cbUnit, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ScaleDialog::showState);
    showState();
    SizeBox* first = ui->rbLine->isChecked() ? ui->sbLine : ui->sbCellX;
    first->setFocus();
    first->selectAll();
}

ScaleDialog::~ScaleDialog() {
    delete ui;
}

void ScaleDialog::setTexts() {
    squareText = tr("One pixel is %1 mm.");
    oblongText = tr("One pixel is %1 mm wide and %2 mm high.");
    wrongText = tr("Enter a size above 0.");
    pixelsText = tr("Measures are pixels.");
    obstacleTexts = {QString(), tr("Measures are pixels until the cameras are calibrated."),
                     tr("Measures are pixels as long as the correction is off.")};
}

/// The scale as it is entered; nothing where that is none.
std::optional<CellScale> ScaleDialog::entered() const {
    CellScale scale = question.scale;
    scale.unit = ui->cbUnit->currentIndex();
    if (ui->rbLine->isChecked()) {
        // What the line measures now is what the scale says: not a new one with other digits.
        if (ui->sbLine->isKnown())
            return scale;
        return scaleByLine(question.line.value_or(QLineF()), ui->sbLine->value(), scale.px, scale);
    }
    scale.mm = {ui->sbCellX->mm(), ui->sbCellY->mm()};
    // Before the first calibration the px of a cell are not known, its size is.
    const bool isKnown = isSize(scale.px);
    return isSize(scale.mm) && (!isKnown || scale.isValid()) ? std::optional(scale) : std::nullopt;
}

CellScale ScaleDialog::scale() const {
    CellScale kept = question.scale;
    kept.unit = ui->cbUnit->currentIndex();
    return entered().value_or(kept);
}

QString ScaleDialog::worth(const CellScale& scale) const {
    const double wide = scale.mm.width() / scale.px.width();
    const double high = scale.mm.height() / scale.px.height();
    return std::abs(wide - high) < kSquare * wide ? squareText.arg(number(wide))
                                                  : oblongText.arg(number(wide), number(high));
}

void ScaleDialog::showState() {
    const bool byLine = ui->rbLine->isChecked();
    ui->sbCellX->setEnabled(!byLine);
    ui->sbCellY->setEnabled(!byLine);
    ui->sbLine->setEnabled(byLine);
    const std::optional<CellScale> now = entered();
    const bool isPixels = ui->cbUnit->currentIndex() == 0;
    // Nobody has to know a size to see pixels.
    ui->btnOK->setEnabled(now || isPixels);
    QStringList lines;
    if (now && now->isValid())
        lines.append(worth(*now));
    else if (!now && !isPixels)
        lines.append(wrongText);
    const QString& obstacle = obstacleTexts[size_t(question.obstacle)];
    if (isPixels || !obstacle.isEmpty())
        lines.append(isPixels ? pixelsText : obstacle);
    ui->lblState->setText(lines.join(QLatin1Char('\n')));
}
