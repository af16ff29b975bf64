#include "marks/mark.h"

Mark::~Mark() = default;

void Mark::dragPoint(QGraphicsSceneMouseEvent* event) {
    Q_UNUSED(event)
}
