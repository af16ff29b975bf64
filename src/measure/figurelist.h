// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUndoStack>

#include "marks/figure.h"
#include "marks/interactivescene.h"

class FigureMark;

class Mark;

/// The figures of a scene with undo: what people draw, delete, move and nudge goes through here, one command
/// each. Commands keep values, never marks, so what comes back is exact. A figure that goes by other hands
/// empties the stack: nothing of it would fit any more. So do marks that are cleared or loaded, whether there
/// were figures or not. GUI thread; survives the scene.
class FigureList : public QObject {
    Q_OBJECT

public:
    /// As many commands are kept.
    static constexpr int kUndoLimit = 200;

    explicit FigureList(InteractiveScene* scene, QObject* parent = nullptr);
    ~FigureList() override;

    QUndoStack* undoStack() { return &stack; }

    /// Makes the figure at the end of the scene's list; nothing without a scene. Owned by the scene.
    FigureMark* add(const Figure& figure);
    /// No effect on a figure that is not in the scene's list.
    void remove(FigureMark* mark);
    /// A figure was changed, `before` it was like this. No command if it is the same.
    void change(FigureMark* mark, const Figure& before);
    /// Shifts it, px; lines across the picture only across. Nudges of one figure in a row are one command,
    /// and none if they cancel out.
    void nudge(FigureMark* mark, QPointF by);
    /// Shifts that handle of it (FigureMark::handles), px, in the same way.
    /// False, and nothing has changed: there is no such handle, or with it there nothing could be measured.
    bool nudgeHandle(FigureMark* mark, int handle, QPointF by);

signals:
    /// A command is about to be done or undone. What is held in the middle of a change that is no command yet
    /// has to go back to where it was.
    void aboutToChange();
    /// A figure went by other hands.
    void emptied();

private:
    class Presence;
    class Change;

    int idOf(FigureMark* mark);
    /// Nothing for one that is not there.
    FigureMark* find(int id) const { return figures.value(id); }
    FigureMark* insert(int id, const Figure& figure, int at);
    /// Where it was in the scene's list; -1 if it was not there.
    int take(int id);
    void forget(Mark* mark);

    QPointer<InteractiveScene> scene;  // not owned
    QHash<int, FigureMark*> figures;   // that commands know and that are there, by id; owned by the scene
    int lastId = 0;
    bool isTaking = false;  // a figure goes by a command
    QUndoStack stack;
};
