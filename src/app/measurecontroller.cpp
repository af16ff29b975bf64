// SPDX-License-Identifier: Apache-2.0
#include "app/measurecontroller.h"

#include <QAction>
#include <QClipboard>
#include <QCoreApplication>
#include <QEvent>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QGuiApplication>
#include <QLineF>
#include <QMainWindow>
#include <QPointer>

#include "app/calibrationcontroller.h"
#include "app/languagescope.h"
#include "app/measurebar.h"
#include "app/savingcontroller.h"
#include "app/statusline.h"
#include "calibration/cropgeometry.h"
#include "calibration/plane.h"
#include "live/livetiles.h"
#include "live/tilelayout.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/figurelist.h"
#include "measure/measuretable.h"
#include "measure/measuretools.h"
#include "measure/scaledialog.h"
#include "settings/settingsfile.h"

namespace {

/// The first of the counts that Execute has stored, "5,3,5".
int firstCount(const QString& counts) {
    return counts.section(QLatin1Char(','), 0, 0).toInt();
}

bool isSize(QSizeF size) {
    return size.width() > 0.0 && size.height() > 0.0;
}

/// With as many digits as people can make sense of in the settings; a scale by a line has all that there are.
double readable(double value) {
    constexpr int kDigits = 10;
    return QString::number(value, 'g', kDigits).toDouble();
}

}  // namespace

MeasureController::MeasureController(const Parts& what)
    : QObject(what.window),
      parts(what),
      bar(new MeasureBar(what.window)),
      figures(new FigureList(what.scene, this)),
      tools(new MeasureTools(what.view, what.scene, figures, [this] { return tilePictures(); })),
      barChanges(what.view) {
    setTexts();
    // In a line of its own: the buttons of the first bar fill the window.
    parts.window->addToolBarBreak(Qt::TopToolBarArea);
    parts.window->addToolBar(Qt::TopToolBarArea, bar);
    bar->setWanted(parts.settings->read(keys::kMeasure) != 0);
    connectBar();
    connect(parts.live, &LiveTiles::pictureShown, this, &MeasureController::followTiles);
    connect(parts.live, &LiveTiles::pictureShown, tools, &MeasureTools::picturesChanged);
    connect(parts.calibration, &CalibrationController::correctionChanged, this,
            &MeasureController::followTiles);
    connect(parts.saving, &SavingController::takingView, this, &MeasureController::followTiles);
    connect(parts.calibration, &CalibrationController::calibrated, this, &MeasureController::takeCell);
    use(bar->isWanted());
    cell = cellAtStart();
    takeScale();
}

MeasureController::~MeasureController() {
    delete tools;
}

// ---- the tool bar --------------------------------------------------------------------------------

void MeasureController::connectBar() {
    connect(bar, &MeasureBar::wantedByHand, this, [this](bool isWanted) {
        parts.settings->write(keys::kMeasure, int(isWanted));
        use(isWanted);
    });
    connect(bar, &MeasureBar::coming, this, [this] {
        if (isFitted())
            barChanges.follow();
    });
    connect(&barChanges, &ResizeFollower::resized, parts.zoomFit, &QAction::trigger);
    connect(tools, &MeasureTools::snapMissed, this, [this] { parts.statusLine->showMessage(missedText); });
    connect(tools, &MeasureTools::clickRefused, this, [this] { parts.statusLine->showMessage(refusedText); });
    connect(tools, &MeasureTools::polygonFull, this, [this] { parts.statusLine->showMessage(fullText); });
    connect(bar, &MeasureBar::toolChosen, tools, &MeasureTools::choose);
    connect(tools, &MeasureTools::toolChanged, this, &MeasureController::showTool);
    connect(parts.scene, &InteractiveScene::placingChanged, this, &MeasureController::showTool);
    connect(tools, &MeasureTools::selectionChanged, this, &MeasureController::showStates);
    QUndoStack* stack = figures->undoStack();
    connect(stack, &QUndoStack::canUndoChanged, bar->undo, &QAction::setEnabled);
    connect(stack, &QUndoStack::canRedoChanged, bar->redo, &QAction::setEnabled);
    connect(bar->undo, &QAction::triggered, tools, &MeasureTools::undo);
    connect(bar->redo, &QAction::triggered, stack, &QUndoStack::redo);
    connect(bar->deleteFigure, &QAction::triggered, tools, &MeasureTools::deleteSelected);
    connect(bar->copy, &QAction::triggered, this, &MeasureController::copyMeasures);
    connect(bar->scale, &QAction::triggered, this, &MeasureController::askScale);
    bar->undo->setEnabled(false);
    bar->redo->setEnabled(false);
    showStates();
}

void MeasureController::use(bool isWanted) {
    tools->setOn(isWanted);
    // Also the window's own, so that the keys work in full screen, without the bar.
    for (QAction* action : {bar->undo, bar->redo, bar->copy}) {
        if (isWanted)
            parts.window->addAction(action);
        else
            parts.window->removeAction(action);
    }
}

void MeasureController::showStates() {
    bar->deleteFigure->setEnabled(tools->selected());
}

/// While the scene places something a tool has no clicks; then it is as it was.
void MeasureController::showTool() {
    bar->showTool(parts.scene->isPlacing() ? std::nullopt : std::optional(tools->tool()));
}

void MeasureController::retranslate() {
    bar->retranslate();
    tools->retranslate();
    setTexts();
}

/// Of messages that are shown at moments that have no language.
void MeasureController::setTexts() {
    copiedText = QCoreApplication::translate("MeasureBar", "Figures copied: %1");
    missedText = QCoreApplication::translate("MeasureBar", "Nothing to snap to");
    refusedText = QCoreApplication::translate(
        "MeasureBar", "This point makes no figure: it lies on another one or in line with them");
    fullText = QCoreApplication::translate("MeasureBar", "The polygon is closed: it has 50 corners at most");
}

/// Whether the view shows all tiles as Zoom Fit does, and nobody has zoomed since.
bool MeasureController::isFitted() const {
    const auto fit = parts.live->fitted(parts.view->size());
    return fit && parts.view->sceneRect() == fit->sceneRect &&
           qFuzzyCompare(parts.view->transform().m11(), fit->scale);
}

void MeasureController::setBarsVisible(bool visible) {
    bar->setAway(!visible);
}

void MeasureController::copyMeasures() {
    followTiles();
    const QVector<MeasureRow> rows = measureRows(parts.scene->markList());
    QGuiApplication::clipboard()->setText(tabTable(rows));
    parts.statusLine->showMessage(copiedText.arg(rows.size()));
}

QVector<TilePicture> MeasureController::tilePictures() const {
    const LiveTiles& live = *parts.live;
    // Has all tiles with an item, in the same order, or none.
    const QVector<PlaneTile> plane = planeTiles();
    QVector<TilePicture> pictures;
    for (const int i : live.tilesFromBelow()) {
        const auto* item = live.item(i);
        TilePicture tile{item->pos(), item->pixmap().toImage()};
        if (live.showsCorrected(i))
            tile.fromFrame = nearestFromFrame(live.usedCorrection(), i, live.count(), live.layoutMode(),
                                              parts.calibration->frameSize(), tile.picture.size());
        if (pictures.size() < plane.size() && plane[pictures.size()].isCorrected) {
            const PlaneTile& here = plane[pictures.size()];
            tile.planeOffset = here.offset + here.joined - here.place;
        }
        pictures.append(tile);
    }
    return pictures;
}

// ---- the scale -----------------------------------------------------------------------------------

QSizeF MeasureController::cellAtStart() const {
    const SettingsFile& settings = *parts.settings;
    const CornerTable& corners = parts.live->usedCorrection().dstCorners;
    const QSizeF stored(settings.read(keys::kCellWidthPx), settings.read(keys::kCellHeightPx));
    if (isWholeCells(corners, stored))
        return stored;
    return cellPx(corners, firstCount(settings.read(keys::kXCount)), firstCount(settings.read(keys::kYCount)))
        .value_or(stored);
}

CellScale MeasureController::knownScale() const {
    const SettingsFile& settings = *parts.settings;
    return {{settings.read(keys::kCellWidth), settings.read(keys::kCellHeight)},
            cell,
            settings.read(keys::kUnit)};
}

void MeasureController::storeScale(const CellScale& asked) {
    SettingsFile& settings = *parts.settings;
    if (isSize(asked.mm)) {
        // What was not asked for anew keeps all of its digits.
        const QSizeF known = knownScale().mm;
        if (asked.mm.width() != known.width())
            settings.store(keys::kCellWidth, readable(asked.mm.width()));
        if (asked.mm.height() != known.height())
            settings.store(keys::kCellHeight, readable(asked.mm.height()));
        if (isSize(asked.px)) {
            settings.store(keys::kCellWidthPx, readable(asked.px.width()));
            settings.store(keys::kCellHeightPx, readable(asked.px.height()));
        }
    }
    settings.write(keys::kUnit, asked.unit);
    takeScale();
}

void MeasureController::takeCell(int xCount, int yCount) {
    const auto px = cellPx(parts.live->usedCorrection().dstCorners, xCount, yCount);
    if (!px)
        return;
    cell = *px;
    SettingsFile& settings = *parts.settings;
    if (isSize(knownScale().mm)) {
        settings.store(keys::kCellWidthPx, readable(cell.width()));
        settings.write(keys::kCellHeightPx, readable(cell.height()));
    } else if (isSize({settings.read(keys::kCellWidthPx), settings.read(keys::kCellHeightPx)})) {
        // Of an earlier calibration; where nobody has asked for a scale the settings stay without it.
        settings.remove(keys::kCellWidthPx, keys::kCellHeightPx);
    }
    takeScale();
}

void MeasureController::takeScale() {
    scale = knownScale();
    const bool wasScaled = isScaled;
    isScaled = scale.isValid() && scale.unit != 0;
    // Where there is no scale nobody looks at the tiles.
    if (isScaled)
        parts.view->viewport()->installEventFilter(this);
    else
        parts.view->viewport()->removeEventFilter(this);
    tiles = isScaled ? planeTiles() : QVector<PlaneTile>();
    if (isScaled || wasScaled)
        setPlane();
}

void MeasureController::setPlane() {
    if (!isScaled) {
        parts.scene->setPlane({});
        return;
    }
    parts.scene->setPlane([measured = tiles, by = scale](const QVector<QPointF>& points) {
        return planeFigure(points, measured, by).value_or(PlaneFigure{points, 0, 0.0, 1.0});
    });
}

void MeasureController::askScale() {
    ScaleDialog::Question question;
    question.scale = knownScale();
    question.line = selectedLine();
    if (!parts.live->isTransEnabled())
        question.obstacle = parts.enable->isEnabled() ? ScaleDialog::Obstacle::CorrectionOff
                                                      : ScaleDialog::Obstacle::NotCalibrated;
    ScaleDialog* const asked = [&] {
        const LanguageScope texts(parts.settings->read(keys::kLang));
        return new ScaleDialog(question, parts.window);
    }();
    const QPointer<ScaleDialog> dialog(asked);
    const int result = asked->exec();
    if (!dialog)
        return;  // the window has gone meanwhile
    if (result == QDialog::Accepted)
        storeScale(asked->scale());
    delete asked;
}

std::optional<QLineF> MeasureController::selectedLine() const {
    const FigureMark* mark = tools->selected();
    if (!mark || mark->kind() != FigureKind::Line || !mark->isComplete())
        return std::nullopt;
    const CellScale pixels{{1.0, 1.0}, {1.0, 1.0}, 1};
    const auto plane = planeFigure(mark->figure().points, planeTiles(), pixels);
    return plane ? std::optional(QLineF(plane->points[0], plane->points[1])) : std::nullopt;
}

// ---- the plane of the tiles ------------------------------------------------------------------------

QVector<PlaneTile> MeasureController::planeTiles() const {
    const LiveTiles& live = *parts.live;
    const CornerTable& corners = live.usedCorrection().dstCorners;
    const QSize frame = parts.calibration->frameSize();
    QVector<PlaneTile> found;
    const auto geometry = computeCropGeometry(corners, live.count(), live.layoutMode(), frame);
    if (!geometry)
        return found;
    QVector<QSize> sizes;
    for (int i = 0; i < live.count(); ++i)
        sizes.append(cropRectangle(*geometry, corners, live.layoutMode(), i).size());
    const auto joined = correctedPositions(sizes, geometry->rowWidths, live.layoutMode());
    const auto offsets = planeOffsets(corners, live.layoutMode(), live.count(), frame);
    for (const int i : live.tilesFromBelow()) {
        const auto* item = live.item(i);
        const QSize size = item->pixmap().size();
        // One that could not be cut as reckoned does not join.
        found.append(
            {item->pos(), size, joined[i], offsets[size_t(i)], live.showsCorrected(i) && size == sizes[i]});
    }
    return found;
}

void MeasureController::followTiles() {
    if (!isScaled)
        return;
    QVector<PlaneTile> now = planeTiles();
    if (now == tiles)
        return;
    tiles = std::move(now);
    setPlane();
}

bool MeasureController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Paint)
        followTiles();
    return QObject::eventFilter(watched, event);
}
