// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QToolBar>
#include <optional>

class QActionGroup;
enum class MeasureTool;

/// The tool bar of measuring: what a click in the picture does, and what is done with the figures. Hidden
/// until somebody wants it; the tool bars' own menu has it. It knows nothing of figures. GUI thread.
class MeasureBar : public QToolBar {
    Q_OBJECT

public:
    explicit MeasureBar(QWidget* parent);

    /// Sets every text anew in the language of the moment.
    void retranslate();

    /// Whether it is to be shown, apart from the full screen. Nobody has asked for it at first.
    bool isWanted() const { return wanted; }
    void setWanted(bool isWanted);
    /// In full screen it is away with the other bars, and still wanted.
    void setAway(bool isAway);

    /// Checks the action of that tool. Nothing: somebody else takes the clicks, so none is checked and none
    /// can be chosen.
    void showTool(std::optional<MeasureTool> which);
    /// The action of a tool.
    QAction* tool(MeasureTool which) const;

    QAction* const deleteFigure;
    QAction* const undo;
    QAction* const redo;
    QAction* const copy;
    QAction* const scale;

signals:
    void toolChosen(MeasureTool which);
    /// Somebody has shown or hidden it.
    void wantedByHand(bool isWanted);
    /// It is about to be shown or hidden, or already is: not yet when somebody does it by hand.
    void coming();

private:
    void showIfWanted();

    QActionGroup* tools;  // child of this
    bool wanted = false;
    bool away = false;
};
