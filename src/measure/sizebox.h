// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDoubleSpinBox>
#include <optional>

/// A box for a size, mm, from nanometres to metres: four digits after the point as a rule, and as many as a
/// small or an exact size has. It keeps a size that was shown in it as exact as it was until another one is
/// entered. GUI thread.
class SizeBox : public QDoubleSpinBox {
    Q_OBJECT

public:
    static constexpr int kDigits = 10;  ///< that people can make sense of

    explicit SizeBox(QWidget* parent = nullptr);

    /// Shows a size that is known already, with so many digits. One that is larger than any that is entered
    /// is not cut; one that is none shows as 0.
    void showKnown(double size, int digits = kDigits);
    /// What was shown, or what was entered instead.
    double mm() const;
    /// Whether it is still what was shown.
    bool isKnown() const { return known && value() == shown; }

    QSize sizeHint() const override;

protected:
    QString textFromValue(double value) const override;

private:
    std::optional<double> known;
    double shown = 0.0;  // as the box has it
};
