#pragma once

#include "marks/boxmark.h"

/// An ellipse and its size.
class EllipseMark : public BoxMark {
public:
    static constexpr const char* kKeyword = "Ellipse";

    explicit EllipseMark(InteractiveScene* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest,
                                          InteractiveScene* scene);

    QString toText() override;
    /// The ellipse's rectangle, and what lies beyond it: rotation, captions, pen.
    QRectF boundingRect() const override;

protected:
    void drawFigure(QPainter* painter) const override;
    QVector<Caption> captions() const override;
};
