#pragma once

#include <QDialog>

namespace Ui {
class AboutDialog;
}

/// The about box. Made hidden with the main window, shown non-modally.
class AboutDialog : public QDialog {
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

    /// Sets every text anew in the language of the moment.
    void retranslate();

private:
    Ui::AboutDialog* ui;  // freed in the destructor
};
