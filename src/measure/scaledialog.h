// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <QLineF>
#include <QSizeF>
#include <QString>
#include <array>
#include <optional>

#include "measure/scale.h"

namespace Ui {
class ScaleDialog;
}

/// Asks what a px of the corrected pictures is worth: by the size of a grid cell or the length of a line that
/// was drawn. Made for one question; its texts are those of the language in which it was made. GUI thread.
class ScaleDialog : public QDialog {
    Q_OBJECT

public:
    /// Why measures are px at the moment, whatever the scale.
    enum class Obstacle { None, NotCalibrated, CorrectionOff };

    struct Question {
        /// What holds now. Sizes that are not known are 0; those in px are of the calibration in use.
        CellScale scale;
        /// The line whose length can be told, px of the plane; none if none is selected.
        std::optional<QLineF> line;
        Obstacle obstacle = Obstacle::None;
    };

    explicit ScaleDialog(const Question& asked, QWidget* parent = nullptr);
    ~ScaleDialog() override;

    /// What was entered, with the px as they were asked with; only while OK can be pressed is it any good.
    /// Sizes that nobody has touched are those of the question, to the last digit.
    CellScale scale() const;

private:
    void setTexts();
    void showState();
    std::optional<CellScale> entered() const;
    QString worth(const CellScale& scale) const;

    Ui::ScaleDialog* ui;  // freed in the destructor
    const Question question;
    // What is said later, in the language of the beginning: {square, of two sizes, px not known yet}.
    QString squareText;
    QString oblongText;
    QString wrongText;
    QString pixelsText;
    std::array<QString, 3> obstacleTexts;
};
