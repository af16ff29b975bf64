// SPDX-License-Identifier: Apache-2.0
#include <QAbstractButton>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <cmath>

#include "app/screens.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

constexpr QSize kScreen(1920, 1080);  // px of the screen
constexpr int kBars = 75;             // px of 96 dpi that title and task bar take
constexpr QSize kFrame(640, 480);
// What another process of this test leaves its saved picture in.
constexpr auto kPictureVariable = "BIVISTA_SCALED_PICTURE";

double scale() {
    return qEnvironmentVariableIntValue("QT_FONT_DPI") / 96.0;
}

/// The texts that are cut off in a widget that is shown, and what lies beside its window.
QStringList clipped(const QWidget& window) {
    QStringList found;
    const auto children = window.findChildren<QWidget*>();
    for (const QWidget* child : children) {
        if (!child->isVisible())
            continue;
        QSize needed;
        if (qobject_cast<const QLabel*>(child) || qobject_cast<const QAbstractButton*>(child))
            needed = child->sizeHint();
        else if (qobject_cast<const QGroupBox*>(child) || qobject_cast<const QComboBox*>(child) ||
                 qobject_cast<const QAbstractSpinBox*>(child))
            needed = child->minimumSizeHint();
        else if (const auto* tabs = qobject_cast<const QTabBar*>(child))
            needed = {tabs->tabRect(tabs->count() - 1).right() + 1, tabs->sizeHint().height()};
        else
            continue;
        const auto* label = qobject_cast<const QLabel*>(child);
        if (label && label->wordWrap())
            needed = {0, label->heightForWidth(label->width())};
        const QRect place(child->mapTo(&window, QPoint()), child->size());
        if (child->width() < needed.width() || child->height() < needed.height() ||
            !window.rect().contains(place))
            found.append(QStringLiteral("%1: %2 x %3, needs %4 x %5")
                             .arg(child->objectName())
                             .arg(child->width())
                             .arg(child->height())
                             .arg(needed.width())
                             .arg(needed.height()));
    }
    return found;
}

void keepPicture(QWidget* widget, const QString& name) {
    const QString folder = qEnvironmentVariable("BIVISTA_SCREENSHOTS");
    if (!folder.isEmpty())
        QVERIFY(
            widget->grab().save(QStringLiteral("%1/%2-%3.png").arg(folder, name).arg(qRound(100 * scale()))));
}

}  // namespace

/// The whole window on screens of 100 to 200 %: this program runs itself again on each.
class TestScales : public QObject {
    Q_OBJECT

private slots:
    void init();
    void screens_data();
    void screens();
    void roundedWhereTheUserWantsIt();
    void scaleIsExact();
    void everyButtonIsThere_data();
    void everyButtonIsThere();
    void dialogsAreWhole_data();
    void dialogsAreWhole();
    void viewIsFitted();
    void savedPicture();

private:
    static void start(WindowUnderTest& window, int language);
};

void TestScales::init() {
    QVector<recording::Camera> cameras(2);
    for (int i = 0; i < cameras.size(); ++i) {
        cameras[i].serial = "SN" + QByteArray::number(i);
        cameras[i].queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
}

/// As large as it is when it fills the screen.
void TestScales::start(WindowUnderTest& window, int language) {
    QVERIFY(WorkingFolder::installTranslation());
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        QStringLiteral(
            "[File]\nLang=%1\nType=2\nBarcodeMark=Text #ff0000 1 1 | 20 200 300 120 | 0 yyyy MM 0  1 0 0 0\n"
            "[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n")
            .arg(language)
            .toLatin1()));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window->showNormal();
    window->resize(int(kScreen.width() / scale()), int(kScreen.height() / scale()) - kBars);
    for (int tile = 0; tile < 2; ++tile)
        window.sendFrame(tile, 60 + 40 * tile, 0, kFrame);
    QTRY_COMPARE_WITH_TIMEOUT(window.tiles().size(), 2, kWait);
    QCoreApplication::processEvents();
}

void TestScales::screens_data() {
    QTest::addColumn<int>("dpi");
    for (const int percent : {100, 125, 150, 175, 200})
        QTest::addRow("%d %%", percent) << 96 * percent / 100;
}

void TestScales::screens() {
    QFETCH(int, dpi);
    if (scale() != 0.0)
        return;
    static QByteArray pictureOfTheFirst;
    const QTemporaryDir folder;
    const QString picture = folder.filePath(QStringLiteral("saved.png"));
    QProcess again;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_FONT_DPI"), QString::number(dpi));
    environment.insert(QLatin1String(kPictureVariable), picture);
    environment.remove(QStringLiteral("QT_SCALE_FACTOR_ROUNDING_POLICY"));
    again.setProcessEnvironment(environment);
    again.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    again.start(QCoreApplication::applicationFilePath(), QStringList());
    QVERIFY(again.waitForFinished(120000));
    const QByteArray said = again.readAllStandardOutput();
    if (again.exitStatus() != QProcess::NormalExit || again.exitCode() != 0) {
        // Longer than a message of QVERIFY2 may be.
        fprintf(stderr, "%s\n", said.constData());
        QFAIL("failed on this screen");
    }
    QFile file(picture);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray saved = file.readAll();
    QVERIFY(!saved.isEmpty());
    if (pictureOfTheFirst.isEmpty())
        pictureOfTheFirst = saved;
    QVERIFY2(saved == pictureOfTheFirst, "a saved picture is another one on this screen");
}

void TestScales::roundedWhereTheUserWantsIt() {
    if (scale() != 0.0)
        return;
    QProcess again;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_FONT_DPI"), QStringLiteral("144"));
    environment.insert(QStringLiteral("QT_SCALE_FACTOR_ROUNDING_POLICY"), QStringLiteral("Floor"));
    again.setProcessEnvironment(environment);
    again.start(QCoreApplication::applicationFilePath(), {QStringLiteral("scaleIsExact")});
    QVERIFY(again.waitForFinished(30000));
    const QByteArray said = again.readAllStandardOutput();
    QVERIFY2(said.contains("1 failed") && said.contains("1.0 instead"), said.constData());
}

void TestScales::scaleIsExact() {
    if (scale() == 0.0)
        return;
    const QWidget widget;
    QVERIFY2(widget.devicePixelRatioF() == scale(),
             qPrintable(QString::number(widget.devicePixelRatioF(), 'f', 1) + QStringLiteral(" instead")));
}

void TestScales::everyButtonIsThere_data() {
    QTest::addColumn<int>("language");
    QTest::newRow("English") << 1;
    QTest::newRow("Chinese") << 2;
}

void TestScales::everyButtonIsThere() {
    QFETCH(int, language);
    if (scale() == 0.0)
        return;
    WindowUnderTest window;
    start(window, language);
    keepPicture(window.get(), QStringLiteral("main-") + QLatin1String(QTest::currentDataTag()));
    const auto* bar = window->findChild<QToolBar*>(QStringLiteral("toolBar"));
    const auto* more = bar->findChild<QToolButton*>(QStringLiteral("qt_toolbar_ext_button"));
    int missing = 0;
    int count = 0;
    const auto actions = bar->actions();
    for (QAction* action : actions) {
        if (action->isSeparator())
            continue;
        ++count;
        const QWidget* button = bar->widgetForAction(action);
        QVERIFY(button);
        if (!button->isVisible() || !bar->rect().contains(button->geometry()))
            ++missing;
        else
            QVERIFY2(button->width() >= button->sizeHint().width() &&
                         button->height() >= button->sizeHint().height(),
                     qPrintable(action->text()));
    }
    QCOMPARE(count, 19);
    if (scale() <= 1.5)
        QCOMPARE(missing, 0);
    QCOMPARE(more && more->isVisible(), missing > 0);
    QVERIFY(!more || !more->isVisible() || bar->rect().contains(more->geometry()));

    window->saveImage();
    QVERIFY(!window.leftText().isEmpty());
    QCoreApplication::processEvents();
    const QStringList cut = clipped(*window->statusBar());
    QVERIFY2(cut.isEmpty(), qPrintable(cut.join(QLatin1Char('\n'))));
}

void TestScales::dialogsAreWhole_data() {
    everyButtonIsThere_data();
}

void TestScales::dialogsAreWhole() {
    QFETCH(int, language);
    if (scale() == 0.0)
        return;
    WindowUnderTest window;
    start(window, language);
    const auto dialogs = window->findChildren<QDialog*>();
    int looked = 0;
    for (QDialog* dialog : dialogs) {
        dialog->show();
        auto* tabs = dialog->findChild<QTabWidget*>();
        for (int page = 0; page < (tabs ? tabs->count() : 1); ++page) {
            if (tabs)
                tabs->setCurrentIndex(page);
            QVERIFY(QTest::qWaitForWindowExposed(dialog));
            QCoreApplication::processEvents();
            keepPicture(dialog, QStringLiteral("%1-%2-%3").arg(dialog->objectName()).arg(page).arg(language));
            const QStringList cut = clipped(*dialog);
            QVERIFY2(cut.isEmpty(),
                     qPrintable(dialog->objectName() + QLatin1Char('\n') + cut.join(QLatin1Char('\n'))));
            QVERIFY2(dialog->height() + kBars <= kScreen.height() / scale() &&
                         dialog->width() <= kScreen.width() / scale(),
                     qPrintable(QStringLiteral("%1: %2 x %3")
                                    .arg(dialog->objectName())
                                    .arg(dialog->width())
                                    .arg(dialog->height())));
            ++looked;
        }
        if (const auto* logo = dialog->findChild<QLabel*>(QStringLiteral("lblLogo"))) {
            const QPixmap picture = logo->pixmap(Qt::ReturnByValue);
            QCOMPARE(picture.devicePixelRatio(), scale());
            QCOMPARE(picture.size(), (QSizeF(192, 48) * scale()).toSize());
        }
        dialog->hide();
    }
    QCOMPARE(looked, 4);  // settings twice
}

/// Each tile fills its part of the view to the pixel, with nothing between them.
void TestScales::viewIsFitted() {
    if (scale() == 0.0)
        return;
    WindowUnderTest window;
    start(window, 1);
    window->findChild<QAction*>(QStringLiteral("actionClear"))->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
    const QImage shown = window.view()->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
    QCOMPARE(shown.devicePixelRatio(), scale());
    const QRectF scene = window.view()->viewportTransform().mapRect(window.view()->scene()->sceneRect());
    const int middle = shown.height() / 2;
    const double left = scene.left() * scale();
    const double border = (scene.left() + scene.width() / 2) * scale();
    const double right = (scene.left() + scene.width()) * scale();
    for (int x = std::max(0, int(std::ceil(left))); x < std::min(int(right), shown.width()); ++x) {
        const int grey = qGray(shown.pixel(x, middle));
        if (x + 1 <= border)
            QCOMPARE(grey, 60);
        else if (x >= border)
            QCOMPARE(grey, 100);
        else
            QVERIFY(grey >= 60 && grey <= 100);
    }
}

/// For the process that started this one, which compares it with those of other screens.
void TestScales::savedPicture() {
    if (scale() == 0.0)
        return;
    WindowUnderTest window;
    start(window, 1);
    window->saveImageByName(QStringLiteral("saved"));
    QTRY_VERIFY_WITH_TIMEOUT(window.leftText().contains(QStringLiteral("saved.png")), kWait);
    const QByteArray saved = WorkingFolder::read(QStringLiteral("saved.png"));
    const QImage picture = QImage::fromData(saved);
    QCOMPARE(picture.size(), QSize(1280, 480));
    int red = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            red += QColor(picture.pixel(x, y)) == QColor(Qt::red) ? 1 : 0;
    }
    QVERIFY(red > 500);  // the overlay's letters
    QFile file(qEnvironmentVariable(kPictureVariable));
    if (!file.fileName().isEmpty())
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(saved) == saved.size());
}

int main(int argc, char* argv[]) {
    prepareScreens();
    QApplication application(argc, argv);
    // What desktops have; Qt's offscreen platform knows none.
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
    useSystemFont();
    TestScales test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_scales.moc"
