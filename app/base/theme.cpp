#include "app/base/theme.h"

#include <QHash>

#include <array>
#include <cmath>

namespace theme {

namespace {

using Slot = QColor Palette::*;

// Slot order of the theme tables.
constexpr std::array<Slot, 30> kSlots = {
    &Palette::bg,          &Palette::surface,      &Palette::panel,       &Palette::edge,
    &Palette::ink,         &Palette::muted,        &Palette::dim,         &Palette::accent,
    &Palette::red,         &Palette::ok,           &Palette::okSoft,      &Palette::warn,
    &Palette::warnSoft,    &Palette::error,        &Palette::errorSoft,   &Palette::busy,
    &Palette::busySoft,    &Palette::grey,         &Palette::button,      &Palette::buttonEdgeHover,
    &Palette::row,         &Palette::rowAlt,       &Palette::buttonHover, &Palette::buttonPressed,
    &Palette::controlEdge, &Palette::accentStrong, &Palette::violet,      &Palette::yellow,
    &Palette::sky,         &Palette::shade,
};

using Table = std::array<const char *, 30>;

constexpr Table kDark = {
    "#16181B", "#1F2226", "#1A1D21", "#32373D", "#E6E8EA", "#98A0A8", "#8A939C", "#5B8DB8", "#E2001A", "#4FA96B",
    "#17301F", "#D9832F", "#33210F", "#DB5B4F", "#351815", "#C9A227", "#322915", "#282C31", "#2A2F35", "#454C54",
    "#1C1F23", "#23272C", "#333941", "#212529", "#3A4149", "#7FAED4", "#B79CFF", "#E8D44C", "#7CC8F0", "#26292E",
};

constexpr Table kLight = {
    "#F2F4F6", "#FFFFFF", "#E9ECEF", "#D2D8DE", "#15181C", "#525C66", "#5E666F", "#2E6B96", "#C60016", "#186B3B",
    "#DCEFE2", "#8A4E0C", "#F7E7D5", "#B33A2E", "#F7E0DD", "#7A5E0A", "#F6EDCD", "#E2E7EB", "#FFFFFF", "#C2CAD2",
    "#FFFFFF", "#EDF1F4", "#EFF3F6", "#E0E6EB", "#CAD2D9", "#1B5074", "#5539B0", "#6F5C00", "#175E8F", "#E2E7EB",
};

struct AccentRow
{
    const char *name;
    const char *darkAccent, *darkStrong, *lightAccent, *lightStrong;
};

constexpr std::array<AccentRow, 4> kAccents = {{
    {"Kestro Blue", "#5B8DB8", "#7FAED4", "#2E6B96", "#1B5074"},
    {"Slate", "#8794A3", "#A7B3C0", "#4E5B6B", "#35404D"},
    {"Teal", "#4E9A94", "#6FB8B2", "#2C6F6A", "#1B514D"},
    {"Indigo", "#7C86CC", "#9BA4DE", "#4A55A8", "#343E86"},
}};

Palette makeStartPalette()
{
    Palette p;
    for (size_t i = 0; i < kSlots.size(); ++i)
        p.*kSlots[i] = QColor(QLatin1String(kDark[i]));
    p.dark = true;
    return p;
}

Palette &mutablePalette()
{
    static Palette p = makeStartPalette();
    return p;
}

void applyAccentRow(Palette &p)
{
    const AccentRow &row = kAccents[size_t(p.accentRow)];
    p.accent = QColor(QLatin1String(p.dark ? row.darkAccent : row.lightAccent));
    p.accentStrong = QColor(QLatin1String(p.dark ? row.darkStrong : row.lightStrong));
}

using ToneMap = QHash<QString, Slot>;

ToneMap makeMap(std::initializer_list<std::pair<const char *, Slot>> entries)
{
    ToneMap map;
    for (const auto &[name, slot] : entries)
        map.insert(QLatin1String(name), slot);
    return map;
}

// The maps hold slot pointers into the palette, so they always answer with the colours in force.
const ToneMap &toneMap()
{
    static const ToneMap map = makeMap({
        {"accent", &Palette::accent}, {"ok", &Palette::ok},       {"good", &Palette::ok},
        {"warn", &Palette::warn},     {"error", &Palette::error}, {"bad", &Palette::error},
        {"danger", &Palette::error},  {"busy", &Palette::busy},   {"idle", &Palette::dim},
        {"dim", &Palette::dim},       {"muted", &Palette::muted}, {"body", &Palette::ink},
        {"ink", &Palette::ink},       {"bg", &Palette::bg},       {"surface", &Palette::surface},
        {"card", &Palette::surface},  {"edge", &Palette::edge},   {"grey", &Palette::grey},
        {"panel", &Palette::panel},   {"row", &Palette::row},
    });
    return map;
}

// Soft backgrounds behind toned text; the accent deliberately has none of its own.
const ToneMap &softMap()
{
    static const ToneMap map = makeMap({
        {"ok", &Palette::okSoft},
        {"good", &Palette::okSoft},
        {"warn", &Palette::warnSoft},
        {"error", &Palette::errorSoft},
        {"bad", &Palette::errorSoft},
        {"danger", &Palette::errorSoft},
        {"busy", &Palette::busySoft},
    });
    return map;
}

// Secondary text: "body" is one step quieter here than in toneColor.
const ToneMap &textMap()
{
    static const ToneMap map = makeMap({
        {"body", &Palette::muted},
        {"muted", &Palette::dim},
        {"idle", &Palette::dim},
        {"warn", &Palette::warn},
        {"error", &Palette::error},
        {"ok", &Palette::ok},
        {"good", &Palette::ok},
        {"busy", &Palette::busy},
        {"accent", &Palette::accent},
    });
    return map;
}

QColor lookup(const ToneMap &map, const QString &tone, Slot fallback)
{
    return palette().*(map.value(tone.toLower(), fallback));
}

const QStringList &uiFamilies()
{
    static const QStringList families = {
        QStringLiteral("Segoe UI"),    QStringLiteral("SF Pro Text"), QStringLiteral("Helvetica Neue"),
        QStringLiteral("DejaVu Sans"), QStringLiteral("Noto Sans"),   QStringLiteral("Liberation Sans"),
        QStringLiteral("Arial"),       QStringLiteral("sans-serif"),
    };
    return families;
}

const QStringList &monoFamilies()
{
    static const QStringList families = {
        QStringLiteral("Consolas"),         QStringLiteral("SF Mono"),        QStringLiteral("Menlo"),
        QStringLiteral("DejaVu Sans Mono"), QStringLiteral("Noto Sans Mono"), QStringLiteral("Liberation Mono"),
        QStringLiteral("Courier New"),      QStringLiteral("monospace"),
    };
    return families;
}

int scaledPoints(int points)
{
    return std::max(6, int(std::lround(points * palette().textScale)));
}

// The application style sheet, in eight literal pieces with a corner radius between them.
constexpr std::array<const char *, 8> kSheetPieces = {
#include "app/base/stylesheet_pieces.inc"
};

} // namespace

const Palette &palette()
{
    return mutablePalette();
}

bool setTheme(const QString &name)
{
    const bool light = name.compare(QLatin1String(kLightName), Qt::CaseInsensitive) == 0;
    Palette &p = mutablePalette();
    if (p.dark == !light)
        return false;
    const Table &table = light ? kLight : kDark;
    for (size_t i = 0; i < kSlots.size(); ++i)
        p.*kSlots[i] = QColor(QLatin1String(table[i]));
    p.dark = !light;
    applyAccentRow(p);
    return true;
}

bool setAccent(const QString &name)
{
    int row = 0;
    for (size_t i = 0; i < kAccents.size(); ++i) {
        if (name.compare(QLatin1String(kAccents[i].name), Qt::CaseInsensitive) == 0) {
            row = int(i);
            break;
        }
    }
    Palette &p = mutablePalette();
    if (p.accentRow == row)
        return false;
    p.accentRow = row;
    applyAccentRow(p);
    return true;
}

void setTextScale(double scale)
{
    mutablePalette().textScale = std::clamp(scale, 0.7, 1.8);
}

QColor toneColor(const QString &tone)
{
    if (tone.startsWith(QLatin1Char('#'))) {
        const QColor direct = QColor::fromString(tone);
        if (direct.isValid())
            return direct;
    }
    return lookup(toneMap(), tone, &Palette::ink);
}

QColor toneSoft(const QString &tone)
{
    return lookup(softMap(), tone, &Palette::grey);
}

QColor textTone(const QString &tone)
{
    return lookup(textMap(), tone, &Palette::muted);
}

QFont uiFont(int points, bool bold)
{
    QFont font;
    font.setFamilies(uiFamilies());
    font.setPointSize(scaledPoints(points));
    font.setWeight(bold ? QFont::Bold : QFont::Normal);
    return font;
}

QFont monoFont(int points)
{
    QFont font;
    font.setFamilies(monoFamilies());
    font.setPointSize(scaledPoints(points));
    font.setStyleHint(QFont::Monospace);
    return font;
}

QString styleSheet()
{
    static constexpr std::array<const char *, 7> radii = {"6", "6", "6", "5", "5", "5", "5"};
    QString text;
    for (size_t i = 0; i < kSheetPieces.size(); ++i) {
        text += QLatin1String(kSheetPieces[i]);
        if (i < radii.size())
            text += QLatin1String(radii[i]);
    }
    const Palette &p = palette();
    auto n = [](const QColor &c) { return c.name(); };
    // Three rounds, so that %1 never eats the start of %10..%18.
    text =
        text.arg(n(p.bg), n(p.ink), n(p.surface), n(p.edge), n(p.button), n(p.accent), n(p.error), n(p.panel), n(p.ok));
    text = text.arg(n(p.buttonEdgeHover), n(p.grey), n(p.controlEdge), n(p.buttonHover), n(p.buttonPressed), n(p.dim),
                    n(p.accentStrong));
    text = text.arg(n(p.okSoft), n(p.errorSoft));
    return text;
}

QColor accentSwatch(const QString &accentName, bool dark)
{
    for (const AccentRow &row : kAccents) {
        if (accentName.compare(QLatin1String(row.name), Qt::CaseInsensitive) == 0)
            return QColor(QLatin1String(dark ? row.darkAccent : row.lightAccent));
    }
    return QColor(QLatin1String(dark ? kAccents[0].darkAccent : kAccents[0].lightAccent));
}

QStringList accentNames()
{
    QStringList names;
    for (const AccentRow &row : kAccents)
        names << QLatin1String(row.name);
    return names;
}

QString currentAccentName()
{
    return QLatin1String(kAccents[size_t(palette().accentRow)].name);
}

QString currentThemeName()
{
    return QLatin1String(palette().dark ? kDarkName : kLightName);
}

QStringList themeNames()
{
    return {QLatin1String(kDarkName), QLatin1String(kLightName)};
}

QColor blend(const QColor &base, const QColor &toward, double fraction)
{
    const double t = std::clamp(fraction, 0.0, 1.0);
    auto mix = [t](int a, int b) { return int(std::lround(a + (b - a) * t)); };
    return QColor(mix(base.red(), toward.red()), mix(base.green(), toward.green()), mix(base.blue(), toward.blue()));
}

} // namespace theme
