#pragma once
// The program's single source of colours and fonts: one process-wide palette of 30 slots
// (Dark or Light table plus an accent row), tone names resolved to colours, the interface and
// monospace fonts at the user's text scale, and the application style sheet built from them.

#include <QColor>
#include <QFont>
#include <QString>
#include <QStringList>

namespace theme {

struct Palette
{
    QColor bg, surface, panel, edge, ink, muted, dim, accent, red, ok, okSoft, warn, warnSoft, error, errorSoft, busy,
        busySoft, grey, button, buttonEdgeHover, row, rowAlt, buttonHover, buttonPressed, controlEdge, accentStrong,
        violet, yellow, sky, shade;
    bool dark = true;
    int accentRow = 0;
    double textScale = 1.0;
};

// The palette in force. Widgets read it when they are built.
const Palette &palette();

bool setTheme(const QString &name);
bool setAccent(const QString &name);
void setTextScale(double scale);

QColor toneColor(const QString &tone);
QColor toneSoft(const QString &tone);
QColor textTone(const QString &tone);

QFont uiFont(int points, bool bold = false);
QFont monoFont(int points);

QString styleSheet();

QColor accentSwatch(const QString &accentName, bool dark);
QStringList accentNames();
QString currentAccentName();
QString currentThemeName();
QStringList themeNames();

// Moves `base` the given fraction (0..1) of the way towards `toward`, per channel.
QColor blend(const QColor &base, const QColor &toward, double fraction);

inline constexpr auto kDarkName = "Kestro Dark";
inline constexpr auto kLightName = "Kestro Light";

} // namespace theme
