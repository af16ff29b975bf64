#include <QApplication>

#include "app/mainwindow.h"

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    MainWindow window(nullptr);
    window.show();
    return QApplication::exec();
}
