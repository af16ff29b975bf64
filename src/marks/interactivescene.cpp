#include "marks/interactivescene.h"

#include "marks/mark.h"

InteractiveScene::InteractiveScene(QObject* parent, int optionBits)
    : QGraphicsScene(nullptr), options(optionBits) {
    setParent(parent);
}

void InteractiveScene::removeMark(Mark* mark) {
    if (marks.removeOne(mark)) {
        removeItem(mark);
        delete mark;
    }
}
