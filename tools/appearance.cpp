#include "tools/appearance.h"

#include "app/base/settings.h"
#include "app/base/sounds.h"
#include "app/base/theme.h"
#include "tools/dialogs.h"

#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QStyle>

#include <cmath>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

constexpr double kScaleTolerance = 0.01;

double storedScale(const QJsonObject &settings)
{
    const double scale = settings.value("textScale"_L1).toDouble(1.0);
    return scale > 0 ? scale : 1.0; // as the program reads it at start
}

// A section's title (12 pt, bold) and its note (9 pt, secondary text).
void addSection(QBoxLayout *layout, const QString &title, const QString &note)
{
    layout->addWidget(makeLabel(title, 12, theme::palette().ink, true));
    layout->addWidget(makeLabel(note, 9, theme::palette().muted));
}

QIcon swatch(const QColor &color)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme::palette().controlEdge, 1));
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0.5, 0.5, 15, 15), 4, 4);
    return QIcon(pixmap);
}

void fillSwatches(QComboBox *accents, bool dark)
{
    for (int i = 0; i < accents->count(); ++i)
        accents->setItemIcon(i, swatch(theme::accentSwatch(accents->itemText(i), dark)));
}

// The list of sizes in the palette's colours: the selected row marked like the sidebar's.
QListWidget *sizeList(double current)
{
    const theme::Palette &pal = theme::palette();
    auto *list = new QListWidget;
    list->setObjectName(u"textSizes"_s);
    list->setStyleSheet(u"QListWidget { background:%1; border:1px solid %2; border-radius:5px; outline:none;"
                        u" padding:2px; }"
                        u"QListWidget::item { color:%3; padding:4px 8px; border-radius:4px;"
                        u" border-left:3px solid transparent; }"
                        u"QListWidget::item:hover { background:%4; }"
                        u"QListWidget::item:selected { background:%4; color:%3; border-left:3px solid %5; }"_s.arg(
                            pal.bg.name(), pal.controlEdge.name(), pal.ink.name(), pal.grey.name(), pal.accent.name()));
    for (const TextSize &size : kTextSizes)
        list->addItem(textSizeText(size));
    list->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->ensurePolished();
    list->setFixedHeight(list->sizeHintForRow(0) * int(kTextSizes.size()) + 2 * list->frameWidth() + 6);
    if (const int row = textSizeIndex(current); row >= 0)
        list->setCurrentRow(row);
    else
        list->clearSelection(); // a scale the app does not offer: nothing is marked, and Apply keeps it
    return list;
}

void repolish(QWidget *widget)
{
    QStyle *style = widget->style();
    style->unpolish(widget);
    style->polish(widget);
    widget->update();
}

} // namespace

QString textSizeText(const TextSize &size)
{
    return u"%1  (%2%)"_s.arg(QLatin1StringView(size.label)).arg(std::lround(size.scale * 100));
}

int textSizeIndex(double scale)
{
    for (size_t i = 0; i < kTextSizes.size(); ++i) {
        if (std::abs(kTextSizes[i].scale - scale) < kScaleTolerance)
            return int(i);
    }
    return -1;
}

LookChanges &lookChanges()
{
    static LookChanges changes;
    return changes;
}

void applyLook()
{
    const QString before = qApp->styleSheet();
    const QString sheet = theme::styleSheet();
    QApplication::setFont(theme::uiFont(10, false));
    qApp->setStyleSheet(sheet);
    const QWidgetList all = QApplication::allWidgets();
    for (QWidget *widget : all) {
        // Dialogs and pages that copied the application sheet would keep the old colours.
        if (!before.isEmpty() && widget->styleSheet() == before)
            widget->setStyleSheet(sheet);
    }
    for (QWidget *top : QApplication::topLevelWidgets()) {
        repolish(top);
        for (QWidget *child : top->findChildren<QWidget *>())
            repolish(child);
    }
    emit lookChanges().applied();
}

bool appearance(QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    const QJsonObject settings = app::loadSettings();
    QDialog *dialog = makeDialog(parent, u"Appearance"_s, 420, 0);
    auto *layout = new QVBoxLayout(dialog);
    layout->setSpacing(8);

    addSection(layout, u"Theme"_s,
               u"Dark or light, and the colour the app highlights with. Red is left alone: it means a fault."_s);
    auto *themes = new QComboBox;
    themes->setObjectName(u"themeChoice"_s);
    themes->addItems(theme::themeNames());
    themes->setCurrentText(theme::currentThemeName());
    auto *accents = new QComboBox;
    accents->setObjectName(u"accentChoice"_s);
    accents->addItems(theme::accentNames());
    accents->setCurrentText(theme::currentAccentName());
    fillSwatches(accents, pal.dark);
    // The swatches show the accent as the chosen theme will draw it.
    QObject::connect(themes, &QComboBox::currentTextChanged, accents, [accents](const QString &name) {
        fillSwatches(accents, name.compare(QLatin1StringView(theme::kLightName), Qt::CaseInsensitive) != 0);
    });
    auto *themeRow = new QHBoxLayout;
    themeRow->addWidget(themes, 1);
    themeRow->addWidget(accents, 1);
    layout->addLayout(themeRow);

    layout->addSpacing(6);
    addSection(layout, u"Text size"_s,
               u"Applies to the whole app, on this computer only. Screens from the units are unaffected."_s);
    const double scale = storedScale(settings);
    QListWidget *sizes = sizeList(scale);
    layout->addWidget(sizes);

    layout->addSpacing(6);
    addSection(layout, u"Sound"_s,
               u"A click when a press lands, and a sound when a unit accepts or refuses what you asked of it."_s);
    auto *mute = new QCheckBox;
    mute->setObjectName(u"muteSounds"_s);
    const bool wasMuted = app::soundMuted();
    mute->setChecked(wasMuted);
    if (app::canPlaySounds()) {
        mute->setText(u"Mute sounds"_s);
    } else {
        mute->setText(u"Mute sounds  (nothing on this computer can play one)"_s);
        mute->setEnabled(false);
    }
    layout->addWidget(mute);

    layout->addSpacing(4);
    auto *cancel = new QPushButton(u"Cancel"_s);
    cancel->setObjectName(u"cancel"_s);
    auto *apply = new QPushButton(u"Apply"_s);
    apply->setObjectName(u"apply"_s);
    apply->setProperty("kind", u"primary"_s);
    apply->setDefault(true);
    QObject::connect(cancel, &QPushButton::clicked, dialog, &QDialog::reject);
    QObject::connect(apply, &QPushButton::clicked, dialog, &QDialog::accept);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    buttons->addWidget(apply);
    layout->addLayout(buttons);

    if (runDialog(dialog) != QDialog::Accepted)
        return false;
    // The dialog goes when the event loop next runs: everything is read from it first.
    const bool muted = mute->isChecked();
    const QString themeName = themes->currentText();
    const QString accentName = accents->currentText();
    const QList<QListWidgetItem *> picked = sizes->selectedItems();
    const int sizeRow = picked.isEmpty() ? -1 : sizes->row(picked.first());

    if (muted != wasMuted) {
        app::setSoundMuted(muted);
        if (!muted)
            app::playSound(app::Sound::Notify); // a sample, so the technician hears what was switched on
    }
    theme::setTheme(themeName);
    theme::setAccent(accentName);
    QJsonObject changed = app::loadSettings(); // after the mute, which saves on its own
    changed.insert("theme"_L1, themeName);
    changed.insert("accent"_L1, accentName);
    if (sizeRow >= 0) {
        const double chosen = kTextSizes[size_t(sizeRow)].scale;
        if (std::abs(chosen - scale) >= kScaleTolerance) {
            changed.insert("textScale"_L1, chosen);
            theme::setTextScale(chosen);
        }
    }
    app::saveSettings(changed);
    applyLook();
    return true;
}

} // namespace tools
