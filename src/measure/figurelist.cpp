// SPDX-License-Identifier: Apache-2.0
#include "measure/figurelist.h"

#include <QCoreApplication>
#include <QUndoCommand>
#include <algorithm>
#include <memory>

#include "marks/figuremark.h"
#include "measure/draft.h"

namespace {

constexpr int kNudgeId = 1;   // of commands that merge
constexpr int kWhole = -1;    // instead of a handle: all of the figure
constexpr int kNoNudge = -2;  // instead of a handle: a change that merges with none

/// For all that can be seen: steps of 0.1 px there and back leave something in the last digits.
bool isSame(const Figure& a, const Figure& b) {
    constexpr double kNothing = 1e-6;  // px
    const auto isNear = [](QPointF one, QPointF other) { return (one - other).manhattanLength() < kNothing; };
    return std::equal(a.points.cbegin(), a.points.cend(), b.points.cbegin(), b.points.cend(), isNear);
}

QString translated(const char* source) {
    return QCoreApplication::translate("MeasureTools", source);
}

}  // namespace

/// A figure comes or goes.
class FigureList::Presence : public QUndoCommand {
public:
    Presence(FigureList* owner, int figureId, Figure value, int place, bool doComes)
        : list(owner), id(figureId), figure(std::move(value)), at(place), comes(doComes) {
        setText(comes ? translated(QT_TRANSLATE_NOOP("MeasureTools", "Draw"))
                      : translated(QT_TRANSLATE_NOOP("MeasureTools", "Delete")));
    }
    void redo() override { set(comes); }
    void undo() override { set(!comes); }

private:
    void set(bool isThere) {
        emit list->aboutToChange();
        if (isThere)
            list->insert(id, figure, at);
        else
            at = list->take(id);
    }

    FigureList* list;  // owns the stack
    int id;
    Figure figure;
    int at;  // in the scene's list, -1 its end
    bool comes;
};

/// A figure that stays is changed.
class FigureList::Change : public QUndoCommand {
public:
    Change(FigureList* owner, int idOfFigure, Figure valueBefore, Figure valueAfter, int nudgedHandle)
        : list(owner),
          figureId(idOfFigure),
          before(std::move(valueBefore)),
          after(std::move(valueAfter)),
          handle(nudgedHandle) {
        setText(translated(QT_TRANSLATE_NOOP("MeasureTools", "Change")));
    }
    void redo() override { set(after); }
    void undo() override { set(before); }
    int id() const override { return handle != kNoNudge ? kNudgeId : -1; }
    bool mergeWith(const QUndoCommand* next) override {
        const auto* nudge = static_cast<const Change*>(next);
        if (nudge->figureId != figureId || nudge->handle != handle)
            return false;
        after = nudge->after;
        if (isSame(before, after)) {
            set(before);
            setObsolete(true);
        }
        return true;
    }

private:
    void set(const Figure& figure) {
        emit list->aboutToChange();
        if (FigureMark* mark = list->find(figureId))
            mark->setFigure(figure);
    }

    FigureList* list;  // owns the stack
    int figureId;
    Figure before;
    Figure after;
    int handle;  // that was nudged
};

FigureList::FigureList(InteractiveScene* shownScene, QObject* parent) : QObject(parent), scene(shownScene) {
    stack.setUndoLimit(kUndoLimit);
    connect(shownScene, &InteractiveScene::removed, this, &FigureList::forget);
    // Commands may know figures that are not there just now, so nobody tells of them one by one.
    connect(shownScene, &InteractiveScene::cleared, &stack, &QUndoStack::clear);
    connect(shownScene, &QObject::destroyed, this, [this] {
        figures.clear();
        stack.clear();
    });
}

FigureList::~FigureList() = default;

FigureMark* FigureList::add(const Figure& figure) {
    if (!scene)
        return nullptr;
    const int id = ++lastId;
    stack.push(new Presence(this, id, figure, -1, true));
    return find(id);
}

void FigureList::remove(FigureMark* mark) {
    if (!scene || scene->indexOf(mark) < 0)
        return;
    emit aboutToChange();
    stack.push(new Presence(this, idOf(mark), mark->figure(), -1, false));
}

void FigureList::change(FigureMark* mark, const Figure& before) {
    const Figure after = mark->figure();
    if (!(after == before))
        stack.push(new Change(this, idOf(mark), before, after, kNoNudge));
}

void FigureList::nudge(FigureMark* mark, QPointF by) {
    emit aboutToChange();
    const Figure before = mark->figure();
    const QPointF shift = seenShift(mark->kind(), by);
    if (shift.isNull())
        return;
    Figure after = before;
    for (QPointF& point : after.points)
        point += shift;
    stack.push(new Change(this, idOf(mark), before, after, kWhole));
}

bool FigureList::nudgeHandle(FigureMark* mark, int handle, QPointF by) {
    emit aboutToChange();
    const QVector<QPointF> handles = mark->handles();
    if (!scene || handle < 0 || handle >= handles.size())
        return false;
    const Figure before = mark->figure();
    const QPointF shift = seenShift(mark->kind(), by);
    if (shift.isNull())
        return true;
    mark->moveHandle(handle, handles[handle] + shift);
    const Figure after = mark->figure();
    mark->setFigure(before);
    if (isDegenerate(after, handle, scene))
        return false;
    stack.push(new Change(this, idOf(mark), before, after, handle));
    return true;
}

int FigureList::idOf(FigureMark* mark) {
    int id = figures.key(mark);
    if (id == 0) {  // it was there before, or it was read from the file
        id = ++lastId;
        figures.insert(id, mark);
    }
    return id;
}

FigureMark* FigureList::insert(int id, const Figure& figure, int at) {
    if (!scene)
        return nullptr;
    // Cross-hairs may have come and gone meanwhile.
    const int place = at <= scene->markCount() ? at : -1;
    auto* mark = static_cast<FigureMark*>(scene->insertMark(makeFigure(figure, scene), place));
    figures.insert(id, mark);
    return mark;
}

int FigureList::take(int id) {
    FigureMark* mark = find(id);
    if (!scene || !mark)
        return -1;
    const int at = scene->indexOf(mark);
    isTaking = true;
    scene->removeMark(mark);
    isTaking = false;
    return at;
}

void FigureList::forget(Mark* mark) {
    auto* figure = dynamic_cast<FigureMark*>(mark);
    if (!figure)
        return;
    figures.remove(figures.key(figure));
    if (isTaking)
        return;
    stack.clear();
    emit emptied();
}
