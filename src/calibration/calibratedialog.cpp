// SPDX-License-Identifier: Apache-2.0
#include "calibration/calibratedialog.h"

#include <QStringList>

#include "ui_calibratedialog.h"

namespace {

void takeCounts(const QString& list, int count, std::array<int, 4>& counts) {
    const QStringList parts = list.split(QLatin1Char(','), Qt::KeepEmptyParts);
    for (int i = 0; i < count && i < parts.size() && i < static_cast<int>(counts.size()); ++i)
        counts[i] = parts[i].toInt();
}

void showCount(QLineEdit* field, bool used, int value) {
    field->setText(used ? QString::number(value) : QString());
    if (!used)
        field->setEnabled(false);
}

}  // namespace

CalibrateDialog::CalibrateDialog(QWidget* parent) : QDialog(parent), ui(new Ui::CalibrateDialog) {
    ui->setupUi(this);
    setModal(true);
}

CalibrateDialog::~CalibrateDialog() {
    delete ui;
}

void CalibrateDialog::setCounts(const QString& xs, const QString& ys, int count) {
    takeCounts(xs, count, xCounts);
    takeCounts(ys, count, yCounts);
    for (int i = 0; i < 4; ++i) {
        showCount(xFields()[i], i < count, xCounts[i]);
        showCount(yFields()[i], i < count, yCounts[i]);
    }
    // Ready to be typed over, also where the last use ended on a button.
    ui->leXCount->setFocus();
    ui->leXCount->selectAll();
}

QString CalibrateDialog::countText(const std::array<int, 4>& counts, int count) {
    QStringList parts;
    std::transform(counts.begin(), counts.begin() + count, std::back_inserter(parts),
                   [](int cells) { return QString::number(cells); });
    return parts.join(QLatin1Char(','));
}

void CalibrateDialog::retranslate() {
    ui->retranslateUi(this);
}

void CalibrateDialog::on_btnOK_clicked() {
    for (int i = 0; i < 4; ++i) {
        xCounts[i] = xFields()[i]->text().toInt();
        yCounts[i] = yFields()[i]->text().toInt();
    }
    accept();
}

void CalibrateDialog::on_btnCancel_clicked() {
    reject();
}

void CalibrateDialog::on_leYCount_editingFinished() {
    // Nothing to do with the number before OK; a check of it would have its place here.
    (void)ui->leYCount->text().toInt();
}

std::array<QLineEdit*, 4> CalibrateDialog::xFields() const {
    return {ui->leXCount, ui->leXCount1, ui->leXCount2, ui->leXCount3};
}

std::array<QLineEdit*, 4> CalibrateDialog::yFields() const {
    return {ui->leYCount, ui->leYCount1, ui->leYCount2, ui->leYCount3};
}
