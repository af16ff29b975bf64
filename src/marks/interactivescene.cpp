// SPDX-License-Identifier: Apache-2.0
#include "marks/interactivescene.h"

#include <QDebug>
#include <QFile>
#include <QGraphicsSceneMouseEvent>
#include <QKeyEvent>
#include <QLineF>
#include <QMessageBox>
#include <algorithm>
#include <cmath>
#include <utility>

#include "marks/coordinatesmark.h"
#include "marks/figuremark.h"
#include "marks/markfile.h"
#include "marks/textmark.h"

namespace {

// A key held down for a night is no barcode; the longest that readers type has 4296 characters.
constexpr int kLongestBarcode = 4296;

}  // namespace

InteractiveScene::InteractiveScene(QObject* parent, int optionBits)
    : QGraphicsScene(nullptr), options(optionBits) {
    setParent(parent);
    connect(this, &QGraphicsScene::sceneRectChanged, this, &InteractiveScene::takeSceneRect);
}

void InteractiveScene::setSceneRect(const QRectF& rect) {
    hasOwnRect = !rect.isNull();
    QGraphicsScene::setSceneRect(rect);
}

/// Kept here instead of asked for: the scene asks its items for its rectangle, and marks that go across it
/// would ask back. For the same reason a scene without a rectangle of its own is as wide as what is in it
/// beside marks.
void InteractiveScene::takeSceneRect(const QRectF& rect) {
    QRectF whole = rect;
    if (!hasOwnRect) {
        whole = QRectF();
        const auto all = items();
        for (const QGraphicsItem* item : all) {
            if (item && !dynamic_cast<const Mark*>(item))
                whole |= item->sceneBoundingRect();
        }
    }
    // The scene sorts its items anew at each change of its rectangle, so marks need not be told.
    extent = whole.size();
}

// ---- placing, clearing -------------------------------------------------------------------------

void InteractiveScene::setMode(int m) {
    mode = m;
    if (m == kCoordinatesMark && !activeMark) {
        activeMark = new CoordinatesMark(this);
        activeMark->setZValue(kPlacedZ);
        addItem(activeMark);
    } else if (m == kBarcodeTextMark) {
        if (!barcodeMark)
            barcodeMark = addOverlay(std::make_unique<TextMark>(this));
        barcodeMark->markType = kBarcodeTextMark;
        barcodeMark->showBarcode();
        barcodeMark->setBarcode(QString());
        barcodeBuffer.clear();
    } else if (m == kDateTimeTextMark) {
        if (!dateTimeMark)
            dateTimeMark = addOverlay(std::make_unique<TextMark>(this));
        dateTimeMark->markType = kDateTimeTextMark;
        dateTimeMark->showDateTime(dateTimeFormat);
    }
    noticePlacing();
}

void InteractiveScene::noticePlacing() {
    if (wasPlacing == isPlacing())
        return;
    wasPlacing = !wasPlacing;
    emit placingChanged(wasPlacing);
}

QString InteractiveScene::barcode() const {
    return barcodeMark ? barcodeMark->barcodeText() : QString();
}

bool InteractiveScene::isPlacing() const {
    // A mode outlives what it was set for: a cross-hair that was discarded, an overlay that was cleared.
    switch (mode) {
        case kCoordinatesMark:
            return activeMark;
        case kBarcodeTextMark:
            return barcodeMark;
        case kDateTimeTextMark:
            return dateTimeMark;
        default:
            return false;
    }
}

TextMark* InteractiveScene::addOverlay(std::unique_ptr<TextMark> overlay) {
    overlay->setFlags(kPlacedFlags);
    addItem(overlay.get());
    return overlay.release();
}

void InteractiveScene::clearMarks() {
    if (activeMark) {
        QMessageBox::warning(qobject_cast<QWidget*>(parent()), tr("Warning"),
                             tr("Please finish the current action first."), QMessageBox::Ok);
        return;
    }
    while (!marks.isEmpty())
        removeMark(marks.first());
    repaintWhole();
    destroy(dateTimeMark);
    dateTimeMark = nullptr;
    destroy(barcodeMark);
    barcodeMark = nullptr;
    noticePlacing();
    emit cleared();
}

void InteractiveScene::removeMark(Mark* m) {
    if (marks.removeOne(m))
        destroy(m);
}

/// The one place where marks end: whoever knows one forgets it first.
void InteractiveScene::destroy(Mark* mark) {
    if (!mark)
        return;
    if (grabbedMark == mark)
        grabbedMark = nullptr;
    emit removed(mark);
    // This takes it out of the scene, too. removeItem() would look for it where its rectangle is now; the
    // zoom may have changed that since the scene sorted it in, and somewhere a pointer to it would be left.
    delete mark;
}

Mark* InteractiveScene::insertMark(std::unique_ptr<Mark> mark, int at) {
    Mark* inserted = mark.release();
    marks.insert(at < 0 || at > marks.size() ? marks.size() : at, inserted);
    addItem(inserted);
    return inserted;
}

int InteractiveScene::indexOf(const Mark* mark) const {
    const auto found = std::find(marks.cbegin(), marks.cend(), mark);
    return found == marks.cend() ? -1 : static_cast<int>(found - marks.cbegin());
}

// ---- measuring ---------------------------------------------------------------------------------

/// Rectangles of figures are made of their captions, and the scene has to know of them before they change.
void InteractiveScene::aboutToMeasureAnew() {
    const auto all = items();
    for (QGraphicsItem* item : all) {
        if (auto* figure = dynamic_cast<FigureMark*>(item))
            figure->aboutToChange();
    }
}

void InteractiveScene::setPlane(ToPlane toPlane) {
    aboutToMeasureAnew();
    plane = std::move(toPlane);
    ++planes;
    update();
}

PlaneFigure InteractiveScene::planeFigure(const QVector<QPointF>& scenePoints) const {
    return plane ? plane(scenePoints) : MarkSurface::planeFigure(scenePoints);
}

void InteractiveScene::setFigureZoom(double zoom) {
    const double usable = std::isfinite(zoom) && zoom > 0.0 ? zoom : 1.0;
    if (usable == figureZoom)
        return;
    aboutToMeasureAnew();
    figureZoom = usable;
    update();
}

void InteractiveScene::setLeavesCaptions(bool isLeft) {
    if (leavesCaptions == isLeft)
        return;
    leavesCaptions = isLeft;
    update();
}

// ---- mark file and saved overlays --------------------------------------------------------------

QString InteractiveScene::saveMarks(int index) {
    if (items().isEmpty())
        return {};
    return writeMarkFile(index, marks);
}

QString InteractiveScene::loadMarks(int index) {
    if (items().isEmpty())
        return {};
    clearMarks();
    QFile file(markFileName(index));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qWarning("%s was not read: %s", qUtf8Printable(file.fileName()), qUtf8Printable(file.errorString()));
        return QStringLiteral("Marks not read: %1").arg(file.errorString());
    }
    MarkFileReader reader(&file);
    while (auto read = reader.next(this)) {
        Mark* mark = read.release();
        // Told before it is in the list: a listener that makes room for it can only take older ones.
        if (auto* crossHair = dynamic_cast<CoordinatesMark*>(mark))
            emit finished(crossHair->point().x(), crossHair->point().y(), kCoordinatesMark, mark);
        marks.append(mark);
        addItem(mark);
    }
    if (!reader.hasLeftMarks())
        return {};
    qWarning("Only the first %d marks of %s were read", MarkFileReader::kMostMarks,
             qUtf8Printable(file.fileName()));
    return QStringLiteral("Only the first %1 marks were read").arg(MarkFileReader::kMostMarks);
}

void InteractiveScene::restoreBarcodeMark(const QString& line) {
    if (barcodeMark || line.isEmpty())
        return;
    if (auto overlay = TextMark::fromText(line, this))
        barcodeMark = addOverlay(std::move(overlay));
}

void InteractiveScene::restoreDateTimeMark(const QString& line) {
    if (!dateTimeMark && !line.isEmpty()) {
        if (auto overlay = TextMark::fromText(line, this))
            dateTimeMark = addOverlay(std::move(overlay));
    }
    // The format of the saved line is cut at its space.
    if (dateTimeMark)
        dateTimeMark->setDateTimeFormat(dateTimeFormat);
}

void InteractiveScene::setDateTimeFormat(const QString& format) {
    dateTimeFormat = format;
    if (dateTimeMark)
        dateTimeMark->setDateTimeFormat(format);
}

void InteractiveScene::updateOverlayGeometry() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            for (TextMark* overlay : {barcodeMark, dateTimeMark}) {
                if (overlay)
                    overlay->updateGeometry();
            }
        },
        Qt::QueuedConnection);
}

// ---- mouse -------------------------------------------------------------------------------------

void InteractiveScene::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    if (items().isEmpty())
        return;
    if (event->button() == Qt::RightButton) {
        // The mode stays: whoever cancels a cross-hair sets the mode again to place another.
        destroy(activeMark);
        activeMark = nullptr;
        grabbedMark = nullptr;
        noticePlacing();
        return;
    }
    switch (mode) {
        case kCoordinatesMark:
            placeCrossHair(event);
            break;
        case kBarcodeTextMark:
            placeOverlay(barcodeMark, kBarcodeTextMark, event);
            break;
        case kDateTimeTextMark:
            placeOverlay(dateTimeMark, kDateTimeTextMark, event);
            break;
        case 0:
            grabCrossHair(event->buttonDownScenePos(Qt::LeftButton));
            break;
        default:
            break;
    }
    noticePlacing();
    QGraphicsScene::mousePressEvent(event);
}

void InteractiveScene::placeCrossHair(QGraphicsSceneMouseEvent* event) {
    if (!activeMark)
        return;
    CoordinatesMark* placed = activeMark;
    placed->pressPoint(event);
    placed->setZValue(kPlacedZ);
    placed->setFlags(kPlacedFlags);
    placed->setSelected(false);
    marks.append(placed);
    emit finished(placed->point().x(), placed->point().y(), kCoordinatesMark, placed);
    activeMark = nullptr;
    mode = 0;
}

void InteractiveScene::placeOverlay(TextMark* overlay, int kind, QGraphicsSceneMouseEvent* event) {
    if (!overlay)
        return;
    overlay->pressPoint(event);
    mode = 0;
    emit finished(overlay->anchor().x(), overlay->anchor().y(), kind, overlay);
}

void InteractiveScene::grabCrossHair(QPointF point) {
    for (Mark* mark : qAsConst(marks)) {
        mark->setSelected(false);
        mark->setFlags({});
        auto* crossHair = dynamic_cast<CoordinatesMark*>(mark);
        if (crossHair && QLineF(crossHair->point(), point).length() < CoordinatesMark::kGrabDistance) {
            crossHair->setFlags(kPlacedFlags);
            crossHair->setSelected(true);
            grabbedMark = crossHair;  // the last one wins; a press that reaches none leaves the one there was
        }
        qDebug() << "mark" << mark->markType << "selected" << mark->isSelected();
    }
}

void InteractiveScene::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    if (activeMark)
        activeMark->dragPoint(event);
    else if (grabbedMark && event->buttons().testFlag(Qt::LeftButton))
        grabbedMark->dragPoint(event);
    else
        QGraphicsScene::mouseMoveEvent(event);
}

void InteractiveScene::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    QGraphicsScene::mouseReleaseEvent(event);
}

// ---- keys --------------------------------------------------------------------------------------

void InteractiveScene::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Delete && (options & DeleteKeyDeletes))
        deleteSelectedMark();
    if (mode != 0)
        return;
    if (grabbedMark)
        nudge(event->key());
    if (barcodeMark)
        typed(event);
}

void InteractiveScene::deleteSelectedMark() {
    const auto selected =
        std::find_if(marks.cbegin(), marks.cend(), [](const Mark* mark) { return mark->isSelected(); });
    if (selected != marks.cend())
        removeMark(*selected);
}

void InteractiveScene::nudge(int key) {
    switch (key) {
        case Qt::Key_Left:
        case Qt::Key_A:
            grabbedMark->shiftBy(-1, 0);
            break;
        case Qt::Key_Right:
        case Qt::Key_D:
            grabbedMark->shiftBy(1, 0);
            break;
        case Qt::Key_Up:
        case Qt::Key_W:
            grabbedMark->shiftBy(0, -1);
            break;
        case Qt::Key_Down:
        case Qt::Key_S:
            grabbedMark->shiftBy(0, 1);
            break;
        default:
            break;
    }
    update();
}

/// A key while there is a barcode overlay. Readers type like a keyboard, so people can as well; the time
/// between keys makes no difference.
void InteractiveScene::typed(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        const QString barcode = barcodeBuffer;
        emit scanned(barcode);
        qDebug() << "scanned" << barcode;
        // The listener may have shown a box, and people may have cleared the overlay meanwhile.
        if (barcodeMark)
            barcodeMark->setBarcode(barcode);
        barcodeBuffer.clear();
    } else {
        if (event->key() == Qt::Key_Backspace)
            barcodeBuffer.chop(1);
        else if (barcodeBuffer.size() < kLongestBarcode)
            barcodeBuffer += event->text();
        if (barcodeBuffer != barcodeMark->barcodeText())
            barcodeMark->setBarcode(barcodeBuffer);
    }
    update();
}
