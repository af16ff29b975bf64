#include "app/aboutdialog.h"

#include "ui_aboutdialog.h"

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent), ui(new Ui::AboutDialog) {
    ui->setupUi(this);
}

AboutDialog::~AboutDialog() {
    delete ui;
}

void AboutDialog::retranslate() {
    ui->retranslateUi(this);
}
