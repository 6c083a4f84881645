#pragma once
// The appearance dialog (theme, accent, text size, sound) and the one step that puts a changed look
// on the running application, so that a change shows at once and not only on screens built later.

#include <QObject>
#include <QString>

#include <array>

class QWidget;

namespace tools {

struct TextSize
{
    const char *label;
    double scale;
};

inline constexpr std::array<TextSize, 5> kTextSizes{{
    {"Small", 0.9},
    {"Normal", 1.0},
    {"Large", 1.15},
    {"Larger", 1.3},
    {"Largest", 1.5},
}};

// "Large  (115%)": the label and the scale times 100, rounded.
QString textSizeText(const TextSize &size);

// The size whose scale lies within 0.01 of `scale`, or -1 for none.
int textSizeIndex(double scale);

// The appearance dialog. Apply stores the choices in settings.json, sets the theme, accent and text
// scale, and puts them on the running application (applyLook); true when Apply was pressed.
bool appearance(QWidget *parent);

// Puts the theme in force on the running application: the application font and style sheet, every
// widget that carried the previous application style sheet as its own, and a re-polish of every
// window; then announces it through lookChanges().
void applyLook();

// Announces an applied look, so that whoever draws from the palette (the window's screen and
// sidebar) rebuilds what it drew with the old colours and fonts.
class LookChanges final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LookChanges)

public:
    explicit LookChanges(QObject *parent = nullptr)
        : QObject(parent)
    {}

signals:
    void applied();
};

LookChanges &lookChanges();

} // namespace tools
