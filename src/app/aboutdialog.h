// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>

namespace Ui {
class AboutDialog;
}

/// The about box. Made hidden with the main window, shown non-modally. Its year line has the program's
/// version and a link to the log's folder.
class AboutDialog : public QDialog {
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

    /// Sets every text anew in the language of the moment.
    void retranslate();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void completeYearLine();
    void openLogFolder();

    Ui::AboutDialog* ui;  // freed in the destructor
};
