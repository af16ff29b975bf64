// SPDX-License-Identifier: Apache-2.0
#include "app/measurebar.h"

#include <QActionGroup>
#include <QIcon>
#include <QKeySequence>
#include <QStringList>
#include <algorithm>

#include "measure/measuretool.h"

namespace {

constexpr int kIconSize = 24;  // px, as in the first tool bar

struct ToolButton {
    MeasureTool tool;
    const char* name;  // of the action
    const char* icon;
    const char* text;
    const char* hint;
};

constexpr ToolButton kTools[] = {
    {MeasureTool::Line, "measureLine", "measure_line", QT_TRANSLATE_NOOP("MeasureBar", "Line"),
     QT_TRANSLATE_NOOP("MeasureBar", "Length: click both ends, or drag from one to the other.")},
    {MeasureTool::Circle, "measureCircle", "measure_circle", QT_TRANSLATE_NOOP("MeasureBar", "Circle"),
     QT_TRANSLATE_NOOP("MeasureBar", "Centre and radius: click three points of its edge.")},
    {MeasureTool::Arc, "measureArc", "measure_arc", QT_TRANSLATE_NOOP("MeasureBar", "Arc"),
     QT_TRANSLATE_NOOP("MeasureBar", "Angle: click its vertex, then a point on each of its arms.")},
    {MeasureTool::Rectangle, "measureRectangle", "measure_rectangle",
     QT_TRANSLATE_NOOP("MeasureBar", "Rectangle"),
     QT_TRANSLATE_NOOP("MeasureBar",
                       "Width and height: click two opposite corners, or drag from one to the other.")},
    {MeasureTool::Ellipse, "measureEllipse", "measure_ellipse", QT_TRANSLATE_NOOP("MeasureBar", "Ellipse"),
     QT_TRANSLATE_NOOP("MeasureBar",
                       "Click two opposite corners of the box around it, or drag from one to the other.")},
    {MeasureTool::Polygon, "measurePolygon", "measure_polygon", QT_TRANSLATE_NOOP("MeasureBar", "Polygon"),
     QT_TRANSLATE_NOOP("MeasureBar",
                       "Area: click the corners, at most 50; a right click or a double click closes it.")},
    {MeasureTool::HLine, "measureHLine", "measure_hline", QT_TRANSLATE_NOOP("MeasureBar", "Horizontal line"),
     QT_TRANSLATE_NOOP("MeasureBar", "A line across the whole picture: click its height.")},
    {MeasureTool::VLine, "measureVLine", "measure_vline", QT_TRANSLATE_NOOP("MeasureBar", "Vertical line"),
     QT_TRANSLATE_NOOP("MeasureBar", "A line down the whole picture: click its place.")},
    {MeasureTool::Select, "measureSelect", "measure_select", QT_TRANSLATE_NOOP("MeasureBar", "Select"),
     QT_TRANSLATE_NOOP("MeasureBar",
                       "Click a figure, drag it or its handles. Arrow keys move it, or the handle used "
                       "last, by 1 px, with Shift by 0.1 px.")},
};

/// A polygon is closed by the right click that gives others up; a line across the picture is never half done.
bool canBeGivenUp(MeasureTool tool) {
    return tool != MeasureTool::Select && tool != MeasureTool::Polygon && !followsMouse(tool);
}

QAction* newAction(QObject* parent, const char* name, const char* icon) {
    auto* action = new QAction(parent);
    action->setObjectName(QLatin1String(name));
    action->setIcon(QIcon(QStringLiteral(":/icon/%1.png").arg(QLatin1String(icon))));
    return action;
}

void setTexts(QAction* action, const QString& text, const QString& hint) {
    action->setText(text);
    const QString keys = action->shortcut().toString(QKeySequence::NativeText);
    const QString title = keys.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, keys);
    action->setToolTip(hint.isEmpty() ? title : title + QLatin1Char('\n') + hint);
}

}  // namespace

MeasureBar::MeasureBar(QWidget* parent)
    : QToolBar(parent),
      deleteFigure(newAction(this, "measureDelete", "measure_delete")),
      undo(newAction(this, "measureUndo", "measure_undo")),
      redo(newAction(this, "measureRedo", "measure_redo")),
      copy(newAction(this, "measureCopy", "measure_copy")),
      scale(newAction(this, "measureScale", "measure_scale")),
      tools(new QActionGroup(this)) {
    setObjectName(QStringLiteral("measureBar"));
    setIconSize({kIconSize, kIconSize});
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    // A window of its own could be closed by the desktop, past the menu that brings it back.
    setFloatable(false);
    for (const ToolButton& button : kTools) {
        if (button.tool == MeasureTool::Select)
            addSeparator();
        QAction* action = newAction(this, button.name, button.icon);
        action->setCheckable(true);
        action->setData(int(button.tool));
        tools->addAction(action);
        addAction(action);
    }
    connect(tools, &QActionGroup::triggered, this,
            [this](QAction* action) { emit toolChosen(MeasureTool(action->data().toInt())); });
    showTool(MeasureTool::Select);
    undo->setShortcut(QKeySequence(QStringLiteral("Ctrl+Z")));
    redo->setShortcuts(
        {QKeySequence(QStringLiteral("Ctrl+Y")), QKeySequence(QStringLiteral("Ctrl+Shift+Z"))});
    copy->setShortcut(QKeySequence(QStringLiteral("Ctrl+C")));
    addActions({deleteFigure, undo, redo});
    addSeparator();
    addActions({copy, scale});
    // Sent before the bar is shown or hidden by it, as that is done when it is triggered.
    connect(toggleViewAction(), &QAction::toggled, this, &MeasureBar::coming);
    // Sent for what people do alone, not for setVisible().
    connect(toggleViewAction(), &QAction::triggered, this, [this](bool isOn) {
        wanted = isOn;
        emit wantedByHand(isOn);
    });
    retranslate();
    hide();
}

void MeasureBar::retranslate() {
    setWindowTitle(tr("Measure"));
    const QString snaps = tr("Ctrl snaps to corners and edges.");
    const QString givesUp = tr("A right click gives up what is begun.");
    for (const ToolButton& button : kTools) {
        QStringList hint{tr(button.hint)};
        if (button.tool != MeasureTool::Select)
            hint.append(snaps);
        if (canBeGivenUp(button.tool))
            hint.append(givesUp);
        setTexts(tool(button.tool), tr(button.text), hint.join(QLatin1Char('\n')));
    }
    setTexts(deleteFigure, tr("Delete"), tr("Deletes the selected figure, as the Delete key does."));
    setTexts(undo, tr("Undo"), {});
    setTexts(redo, tr("Redo"), {});
    setTexts(copy, tr("Copy measures"), tr("A table of all figures, for a spreadsheet."));
    setTexts(scale, tr("Scale…"), tr("The size of a grid cell, or the length of the selected line."));
}

void MeasureBar::setWanted(bool isWanted) {
    wanted = isWanted;
    showIfWanted();
}

void MeasureBar::setAway(bool isAway) {
    away = isAway;
    showIfWanted();
}

void MeasureBar::showIfWanted() {
    setVisible(wanted && !away);
}

void MeasureBar::showTool(std::optional<MeasureTool> which) {
    const auto actions = tools->actions();
    for (QAction* action : actions) {
        action->setEnabled(which.has_value());
        action->setChecked(which && action->data().toInt() == int(*which));
    }
}

QAction* MeasureBar::tool(MeasureTool which) const {
    const auto actions = tools->actions();
    const auto found = std::find_if(actions.cbegin(), actions.cend(), [which](const QAction* action) {
        return action->data().toInt() == int(which);
    });
    return found == actions.cend() ? nullptr : *found;
}
