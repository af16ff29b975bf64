// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <array>

class QLineEdit;

namespace Ui {
class CalibrateDialog;
}

/// Asks how many grid cells lie between the marked corners of each camera. Made hidden with the main window
/// and used for every calibration; the counts keep their values in between. GUI thread.
class CalibrateDialog : public QDialog {
    Q_OBJECT

public:
    explicit CalibrateDialog(QWidget* parent = nullptr);
    ~CalibrateDialog() override;

    /// Fills the dialog before it runs: comma-separated counts, for `count` cameras. An empty or non-numeric
    /// part is 0; a missing part keeps the count of the last use. The fields of cameras that are not there
    /// are emptied and disabled.
    void setCounts(const QString& xs, const QString& ys, int count);
    /// The counts of the first `count` cameras as setCounts() takes them, "5,3,5".
    static QString countText(const std::array<int, 4>& counts, int count);
    /// Sets every text anew in the language of the moment.
    void retranslate();

    // Cells per camera, valid after acceptance. Not checked: any integer, 0 included.
    std::array<int, 4> xCounts{};
    std::array<int, 4> yCounts{};

private slots:
    void on_btnOK_clicked();
    void on_btnCancel_clicked();
    void on_leYCount_editingFinished();

private:
    std::array<QLineEdit*, 4> xFields() const;
    std::array<QLineEdit*, 4> yFields() const;

    Ui::CalibrateDialog* ui;  // freed in the destructor
};
