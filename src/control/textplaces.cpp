// SPDX-License-Identifier: Apache-2.0
#include "control/textplaces.h"

#include <QGraphicsScene>
#include <QImage>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>

namespace {

/// Notes where text goes and paints nothing.
class NotingEngine : public QPaintEngine {
public:
    NotingEngine() : QPaintEngine(QPaintEngine::AllFeatures) {}

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return QPaintEngine::User; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override {}
    void drawPath(const QPainterPath&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}

    void drawTextItem(const QPointF& position, const QTextItem& item) override {
        // Letters can lean out of their line.
        const double height = item.ascent() + item.descent();
        const QRectF line(position.x(), position.y() - item.ascent(), item.width(), height);
        places.append(painter()
                          ->combinedTransform()
                          .mapRect(line.adjusted(-height, -height / 2, height, height / 2))
                          .toAlignedRect());
    }

    QVector<QRect> places;
};

/// As large and as dense as a picture.
class NotingDevice : public QPaintDevice {
public:
    explicit NotingDevice(QSize sizeOfPicture) : size(sizeOfPicture) {}
    QPaintEngine* paintEngine() const override { return &engine; }
    QVector<QRect> places() const { return engine.places; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
            case PdmWidth:
                return size.width();
            case PdmHeight:
                return size.height();
            case PdmWidthMM:
                return qRound(size.width() * 1000.0 / dot.dotsPerMeterX());
            case PdmHeightMM:
                return qRound(size.height() * 1000.0 / dot.dotsPerMeterY());
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return int(devicePixelRatioFScale());
            case PdmDpiX:
            case PdmPhysicalDpiX:
                return dot.logicalDpiX();
            case PdmDpiY:
            case PdmPhysicalDpiY:
                return dot.logicalDpiY();
            case PdmDepth:
                return dot.depth();
            default:
                return QPaintDevice::metric(metric);
        }
    }

private:
    QSize size;
    QImage dot{1, 1, QImage::Format_ARGB32_Premultiplied};
    mutable NotingEngine engine;
};

}  // namespace

QVector<QRect> textPlaces(QGraphicsScene* scene) {
    NotingDevice device(scene->sceneRect().size().toSize());
    QPainter painter(&device);
    scene->render(&painter);
    painter.end();
    return device.places();
}
