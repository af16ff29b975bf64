#include <QApplication>

#include "app/mainwindow.h"

int main(int argc, char* argv[]) {
    // Sizes in the program are for 96 dpi: on a screen with smaller pixels Qt scales them, icons included.
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    MainWindow window(nullptr);
    window.show();
    return QApplication::exec();
}
