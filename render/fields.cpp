#include "render/fields.h"

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "prims/datetime.h"
#include "prims/field.h"
#include "prims/itemview.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDateEdit>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QRegularExpressionValidator>
#include <QSlider>
#include <QSpinBox>
#include <QTimeEdit>
#include <QToolButton>

#include <cmath>
#include <limits>
#include <memory>

using namespace Qt::StringLiterals;

namespace render {

namespace {

constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();
constexpr int kLabelWidth = 150; // the same column as "fact" rows, so facts and fields line up
constexpr int kLineWidth = 420;  // one-line inputs never stretch across a wide screen
constexpr int kBlockWidth = 560; // text areas and multi-choice lists
constexpr int kMaxChoices = 200;
constexpr int kMaxSliderPositions = 100000;

// The key "default" as text: a text as it is, a number in its shortest form.
QString defaultText(const QJsonObject &src)
{
    const double number = prims::readNumber(src, "default"_L1, kUnset);
    return std::isnan(number) ? prims::readText(src, "default"_L1) : QString::number(number, 'g', 15);
}

// The key as a number, or a text that reads as one (a carried value comes back as text).
double numberOr(const QJsonObject &src, QLatin1StringView key, double def)
{
    const double number = prims::readNumber(src, key, kUnset);
    if (!std::isnan(number))
        return number;
    bool ok = false;
    const double parsed = prims::readText(src, key).trimmed().toDouble(&ok);
    return ok && std::isfinite(parsed) ? parsed : def;
}

// Decimal places that `step` needs to be shown exactly (0.25 needs 2), at most 6.
int decimalsFor(double step)
{
    for (int d = 0; d < 6; ++d) {
        const double scaled = step * std::pow(10.0, d);
        if (std::abs(scaled - std::round(scaled)) < 1e-9)
            return d;
    }
    return 6;
}

QStringList choiceTexts(const QJsonObject &el)
{
    QJsonArray list = prims::readArray(el, "choices"_L1, kMaxChoices);
    if (list.isEmpty())
        list = prims::readArray(el, "options"_L1, kMaxChoices);
    QStringList texts;
    for (const QJsonValue &v : list)
        texts.append(prims::readCell(v).text);
    return texts;
}

// The start value of a multi-choice: a list, one text, or a carried list in JSON.
QStringList defaultList(const QJsonObject &src)
{
    QJsonArray list = prims::readArray(src, "default"_L1, kMaxChoices);
    if (list.isEmpty()) {
        const QString text = defaultText(src);
        if (text.startsWith(u'['))
            list = QJsonDocument::fromJson(text.toUtf8()).array();
        else if (!text.isEmpty())
            list.append(text);
    }
    QStringList texts;
    for (const QJsonValue &v : list)
        texts.append(prims::readCell(v).text);
    return texts;
}

QLineEdit *lineInput(const QJsonObject &src, QWidget *parent)
{
    auto *edit = new QLineEdit(defaultText(src), parent);
    edit->setPlaceholderText(prims::readText(src, "placeholder"_L1));
    edit->setCursorPosition(0);
    return edit;
}

QPlainTextEdit *textArea(const QJsonObject &src, QWidget *parent)
{
    auto *edit = new QPlainTextEdit(parent);
    edit->setPlainText(defaultText(src));
    edit->setPlaceholderText(prims::readText(src, "placeholder"_L1));
    edit->setTabChangesFocus(true);
    const int lines = prims::readInt(src, "rows"_L1, 4, 2, 20);
    edit->setFixedHeight(edit->fontMetrics().lineSpacing() * lines + 18);
    return edit;
}

QComboBox *choiceInput(const QJsonObject &src, QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->addItems(choiceTexts(src));
    const int at = combo->findText(defaultText(src));
    combo->setCurrentIndex(at >= 0 ? at : 0);
    return combo;
}

QWidget *numberInput(const QJsonObject &src, QWidget *parent)
{
    const double lo = numberOr(src, "min"_L1, 0);
    const double hi = std::max(lo, numberOr(src, "max"_L1, 1e6));
    const double step = std::max(numberOr(src, "step"_L1, 1), 1e-6);
    const int decimals = std::max(prims::readInt(src, "decimals"_L1, 0, 0, 6), decimalsFor(step));
    const double value = std::clamp(numberOr(src, "default"_L1, lo), lo, hi);
    const QString unit = prims::readText(src, "unit"_L1);
    const auto whole = [](double v) { return v == std::trunc(v) && std::abs(v) < 2e9; };
    if (decimals == 0 && whole(lo) && whole(hi) && whole(step)) {
        auto *spin = new QSpinBox(parent);
        spin->setRange(int(lo), int(hi));
        spin->setSingleStep(int(step));
        spin->setValue(int(std::lround(value)));
        spin->setSuffix(unit);
        return spin;
    }
    auto *spin = new QDoubleSpinBox(parent);
    spin->setDecimals(decimals);
    spin->setRange(lo, hi);
    spin->setSingleStep(step);
    spin->setValue(value);
    spin->setSuffix(unit);
    return spin;
}

QDateTimeEdit *dateTimeInput(const QString &kind, const QJsonObject &src, QWidget *parent)
{
    QDateTimeEdit *edit = kind == "date"_L1   ? new QDateEdit(parent)
                          : kind == "time"_L1 ? new QTimeEdit(parent)
                                              : new QDateTimeEdit(parent);
    edit->setDisplayFormat(kind == "date"_L1   ? u"yyyy-MM-dd"_s
                           : kind == "time"_L1 ? u"HH:mm:ss"_s
                                               : u"yyyy-MM-dd HH:mm:ss"_s);
    edit->setCalendarPopup(kind != "time"_L1);
    const QDateTime value = prims::parseIsoDateTime(defaultText(src));
    const QDateTime min = prims::parseIsoDateTime(prims::readText(src, "min"_L1));
    const QDateTime max = prims::parseIsoDateTime(prims::readText(src, "max"_L1));
    if (min.isValid())
        edit->setMinimumDateTime(min);
    if (max.isValid() && !(min.isValid() && min > max))
        edit->setMaximumDateTime(max);
    edit->setDateTime(value.isValid() ? value : QDateTime::currentDateTime());
    return edit;
}

QListWidget *multiInput(const QJsonObject &src, QWidget *parent)
{
    auto *list = new QListWidget(parent);
    prims::styleItemView(list);
    list->setSelectionMode(QAbstractItemView::MultiSelection);
    list->setAlternatingRowColors(false); // only the chosen entries are tinted
    const QStringList chosen = defaultList(src);
    for (const QString &text : choiceTexts(src)) {
        auto *item = new QListWidgetItem(text, list);
        item->setSelected(chosen.contains(text));
    }
    const int rows = std::clamp(int(list->count()), 1, prims::readInt(src, "rows"_L1, 6, 2, 20));
    prims::fitHeight(list, rows * std::max(list->sizeHintForRow(0), list->fontMetrics().height() + 8), nullptr,
                     rows < list->count());
    return list;
}

// A slider moves over whole positions; the field's value is position x step + min.
struct SliderInput
{
    QSlider *slider;
    QWidget *shown;
};

SliderInput sliderInput(const QJsonObject &src, QWidget *parent)
{
    const double lo = numberOr(src, "min"_L1, 0);
    const double step = std::max(numberOr(src, "step"_L1, 1), 1e-9);
    const double hi = std::max(numberOr(src, "max"_L1, 100), lo + step);
    const int positions = int(std::clamp(std::round((hi - lo) / step), 1.0, double(kMaxSliderPositions)));
    const int decimals = std::max(prims::readInt(src, "decimals"_L1, 0, 0, 6), decimalsFor(step));
    const QString unit = prims::readText(src, "unit"_L1);

    auto *box = new QWidget(parent);
    auto *row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    auto *slider = new QSlider(Qt::Horizontal, box);
    slider->setRange(0, positions);
    slider->setValue(
        int(std::lround(std::clamp((numberOr(src, "default"_L1, lo) - lo) / step, 0.0, double(positions)))));
    slider->setProperty("sliderMin", lo);
    slider->setProperty("sliderStep", step);
    row->addWidget(slider, 1);

    const auto text = [lo, step, decimals, unit](int position) -> QString {
        return QString::number(lo + position * step, 'f', decimals) + unit;
    };
    QLabel *value = prims::textLabel(text(slider->value()), 10, theme::palette().ink, true, false, box);
    value->setWordWrap(false);
    value->setObjectName(u"sliderValue"_s);
    value->setMinimumWidth(std::max(value->fontMetrics().horizontalAdvance(text(0)),
                                    value->fontMetrics().horizontalAdvance(text(positions))) +
                           4);
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row->addWidget(value);
    QObject::connect(slider, &QSlider::valueChanged, value,
                     [value, text](int position) { value->setText(text(position)); });
    return {slider, box};
}

// A "#RRGGBB" text with a swatch that opens the colour picker.
struct ColorInput
{
    QLineEdit *edit;
    QToolButton *swatch;
    QWidget *shown;
};

ColorInput colorInput(const QJsonObject &src, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    auto *box = new QWidget(parent);
    auto *row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    auto *swatch = new QToolButton(box);
    swatch->setObjectName(u"colorSwatch"_s);
    swatch->setFixedSize(30, 30);
    swatch->setCursor(Qt::PointingHandCursor);
    swatch->setToolTip(u"Choose a colour"_s);
    QLineEdit *edit = lineInput(src, box);
    if (edit->placeholderText().isEmpty())
        edit->setPlaceholderText(u"#RRGGBB"_s);
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression(u"#[0-9A-Fa-f]{0,6}"_s), edit));
    const auto paint = [swatch, edit, pal] {
        const QColor c = QColor::fromString(edit->text());
        const bool valid = edit->hasAcceptableInput() && edit->text().size() == 7 && c.isValid();
        swatch->setStyleSheet(
            u"QToolButton#colorSwatch { background:%1; border:1px solid %2; border-radius:5px; }"_s.arg(
                (valid ? c : pal.grey).name(), pal.controlEdge.name()));
    };
    paint();
    QObject::connect(edit, &QLineEdit::textChanged, swatch, paint);
    row->addWidget(swatch);
    row->addWidget(edit, 1);
    return {edit, swatch, box};
}

// What a field starts with: the pending edit, else (for a carrying field) the carried text, else
// its "default"; as the "default" of a copy of the element, so every kind reads it one way.
QJsonObject startingKeys(const QJsonObject &el, const QString &id, bool carries, const Actions &actions)
{
    QJsonObject src = el;
    if (id.isEmpty())
        return src;
    if (actions.stateValue) {
        if (const QVariant pending = actions.stateValue(id); pending.isValid()) {
            src.insert("default"_L1, QJsonValue::fromVariant(pending));
            return src;
        }
    }
    if (carries && actions.carried) {
        if (const QString carried = actions.carried(id); !carried.isEmpty())
            src.insert("default"_L1, carried);
    }
    return src;
}

// When a field carries or saves, the value goes out at its commit points, once per change:
// text, numbers, dates and colours on Enter or when the input loses focus; a check, a choice, a
// multi-choice and a slider as soon as they change (a slider when let go).
struct Committer
{
    QString id;
    bool carries = false;
    QString savePath;
    QJsonObject saveBody;
    std::function<void(const QString &, const QString &)> carry;
    std::function<void(const QString &, const QJsonObject &)> save;
    QJsonValue last;

    void commit(const QJsonValue &value)
    {
        if (value == last)
            return;
        last = value;
        if (carries && carry)
            carry(id, carryText(value));
        if (!savePath.isEmpty() && save) {
            QJsonObject body = saveBody;
            body.insert(id.isEmpty() ? u"value"_s : id, value);
            save(savePath, body);
        }
    }
};

void commitOnEdits(QWidget *input, std::shared_ptr<Committer> c)
{
    c->last = fieldValue(input);
    const auto fire = [input, c] { c->commit(fieldValue(input)); };
    if (auto *e = qobject_cast<QLineEdit *>(input)) {
        QObject::connect(e, &QLineEdit::editingFinished, e, fire);
    } else if (auto *t = qobject_cast<QPlainTextEdit *>(input)) {
        // Enter belongs to the text, so only leaving the box commits it.
        QObject::connect(qApp, &QApplication::focusChanged, t, [t, fire](QWidget *old, QWidget *) {
            if (old && (old == t || t->isAncestorOf(old)))
                fire();
        });
    } else if (auto *s = qobject_cast<QSlider *>(input)) {
        QObject::connect(s, &QSlider::sliderReleased, s, fire);
        QObject::connect(s, &QSlider::valueChanged, s, [s, fire] {
            if (!s->isSliderDown())
                fire();
        });
    } else if (auto *spin = qobject_cast<QAbstractSpinBox *>(input)) {
        QObject::connect(spin, &QAbstractSpinBox::editingFinished, spin, fire);
    } else if (auto *b = qobject_cast<QAbstractButton *>(input)) {
        QObject::connect(b, &QAbstractButton::toggled, b, fire);
    } else if (auto *combo = qobject_cast<QComboBox *>(input)) {
        QObject::connect(combo, &QComboBox::activated, combo, fire);
    } else if (auto *list = qobject_cast<QListWidget *>(input)) {
        QObject::connect(list, &QListWidget::itemSelectionChanged, list, fire);
    }
}

} // namespace

QStringList fieldKinds()
{
    return {u"input"_s, u"check"_s, u"textarea"_s, u"choice"_s, u"slider"_s, u"number"_s,
            u"date"_s,  u"time"_s,  u"datetime"_s, u"multi"_s,  u"color"_s,  u"password"_s};
}

QWidget *fieldRow(const QJsonObject &el, const Actions &actions, int, QWidget *parent)
{
    const QString kind = prims::readText(el, "kind"_L1, u"input"_s);
    const QString id = prims::readText(el, "id"_L1);
    const QString label = prims::readText(el, "label"_L1);
    // A password is never written to the settings file, whatever the element says.
    const bool secret = kind == "password"_L1;
    const bool carries = !secret && prims::readFlag(el, "carry"_L1, false);
    const QJsonObject src = startingKeys(el, id, carries, actions);

    auto *row = new QWidget(parent);
    row->setObjectName(u"fieldRow"_s);
    auto *box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(12);

    QWidget *input = nullptr; // the widget with the field identity
    QWidget *shown = nullptr; // what goes into the row (the input or a box around it)
    int widest = kLineWidth;
    bool tall = false;
    if (kind == "check"_L1) {
        // Doubled, a "&" in the label is shown as sent instead of marking a shortcut key.
        auto *check = new QCheckBox(QString(label).replace(u'&', u"&&"_s), row);
        check->setChecked(prims::readFlag(src, "default"_L1, false));
        input = check;
    } else if (kind == "textarea"_L1) {
        input = textArea(src, row);
        widest = kBlockWidth;
        tall = true;
    } else if (kind == "choice"_L1) {
        input = choiceInput(src, row);
    } else if (kind == "slider"_L1) {
        const SliderInput s = sliderInput(src, row);
        input = s.slider;
        shown = s.shown;
    } else if (kind == "number"_L1) {
        input = numberInput(src, row);
        widest = 200;
    } else if (kind == "date"_L1 || kind == "time"_L1 || kind == "datetime"_L1) {
        input = dateTimeInput(kind, src, row);
        widest = 240;
    } else if (kind == "multi"_L1) {
        input = multiInput(src, row);
        widest = kBlockWidth;
        tall = true;
    } else if (kind == "color"_L1) {
        const ColorInput c = colorInput(src, row);
        input = c.edit;
        shown = c.shown;
        widest = 240;
        QObject::connect(c.swatch, &QToolButton::clicked, c.edit, [edit = c.edit] {
            QColorDialog dialog(QColor::fromString(edit->text()), edit->window());
            dialog.setWindowTitle(u"Choose a colour"_s);
            if (app::execModal(&dialog) != QDialog::Accepted)
                return;
            edit->setText(dialog.selectedColor().name().toUpper());
            emit edit->editingFinished(); // a picked colour is a finished edit
        });
    } else {
        QLineEdit *edit = lineInput(src, row);
        if (secret)
            edit->setEchoMode(QLineEdit::Password);
        input = edit;
    }
    if (!shown)
        shown = input;
    prims::setFieldId(input, id);

    if (kind == "check"_L1) {
        box->addSpacing(label.isEmpty() ? 0 : kLabelWidth + box->spacing());
    } else if (!label.isEmpty()) {
        QLabel *caption = prims::textLabel(label, 10, theme::palette().muted, false, false, row);
        caption->setObjectName(u"fieldLabel"_s);
        caption->setFixedWidth(kLabelWidth);
        caption->setBuddy(input);
        caption->setAlignment(Qt::AlignLeft | (tall ? Qt::AlignTop : Qt::AlignVCenter));
        if (tall)
            caption->setContentsMargins(0, 6, 0, 0);
        box->addWidget(caption, 0, tall ? Qt::AlignTop : Qt::AlignVCenter);
    }
    shown->setMaximumWidth(widest);
    box->addWidget(shown, 1);
    box->addStretch(0);
    row->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);

    const QString savePath = prims::readText(el, "save_path"_L1);
    if (carries || !savePath.isEmpty()) {
        auto c = std::make_shared<Committer>();
        c->id = id;
        c->carries = carries && !id.isEmpty();
        c->savePath = savePath;
        c->saveBody = prims::readObject(el, "save_body"_L1);
        c->carry = actions.carry;
        c->save = actions.save;
        commitOnEdits(input, c);
    }
    return row;
}

QJsonValue fieldValue(const QWidget *w)
{
    if (auto *e = qobject_cast<const QLineEdit *>(w))
        return e->text();
    if (auto *t = qobject_cast<const QPlainTextEdit *>(w))
        return t->toPlainText();
    if (auto *b = qobject_cast<const QAbstractButton *>(w); b && b->isCheckable())
        return b->isChecked();
    if (auto *c = qobject_cast<const QComboBox *>(w))
        return c->currentText();
    if (auto *s = qobject_cast<const QSpinBox *>(w))
        return s->value();
    if (auto *d = qobject_cast<const QDoubleSpinBox *>(w))
        return d->value();
    if (auto *s = qobject_cast<const QSlider *>(w)) {
        bool okMin = false, okStep = false;
        const double min = s->property("sliderMin").toDouble(&okMin);
        const double step = s->property("sliderStep").toDouble(&okStep);
        return s->value() * (okStep ? step : 1.0) + (okMin ? min : 0.0);
    }
    if (auto *d = qobject_cast<const QDateTimeEdit *>(w)) {
        const QDateTimeEdit::Sections shown = d->displayedSections();
        const bool date = shown & QDateTimeEdit::DateSections_Mask;
        const bool time = shown & QDateTimeEdit::TimeSections_Mask;
        if (date && !time)
            return d->date().toString(Qt::ISODate);
        if (time && !date)
            return d->time().toString(Qt::ISODate);
        return d->dateTime().toString(Qt::ISODate);
    }
    if (auto *l = qobject_cast<const QListWidget *>(w)) {
        QJsonArray selected;
        for (int i = 0; i < l->count(); ++i) {
            if (l->item(i)->isSelected())
                selected.append(l->item(i)->text());
        }
        return selected;
    }
    return QJsonValue(QJsonValue::Undefined);
}

QJsonObject collectFieldValues(const QWidget *root, const QStringList &ids)
{
    QJsonObject values;
    if (!root)
        return values;
    for (const QString &id : ids) {
        const QString name = u"field:"_s + id;
        const QWidget *input = root->objectName() == name ? root : root->findChild<QWidget *>(name);
        if (!input)
            continue;
        if (const QJsonValue v = fieldValue(input); !v.isUndefined())
            values.insert(id, v);
    }
    return values;
}

void watchField(QWidget *input, const FieldEdited &edited)
{
    const QString id = input ? input->property("fieldId").toString() : QString();
    if (id.isEmpty() || !edited)
        return;
    const auto tell = [input, id, edited] { edited(id, fieldValue(input)); };
    if (auto *e = qobject_cast<QLineEdit *>(input))
        QObject::connect(e, &QLineEdit::textChanged, e, tell);
    else if (auto *t = qobject_cast<QPlainTextEdit *>(input))
        QObject::connect(t, &QPlainTextEdit::textChanged, t, tell);
    else if (auto *b = qobject_cast<QAbstractButton *>(input))
        QObject::connect(b, &QAbstractButton::toggled, b, tell);
    else if (auto *c = qobject_cast<QComboBox *>(input))
        QObject::connect(c, &QComboBox::currentIndexChanged, c, tell);
    else if (auto *s = qobject_cast<QSpinBox *>(input))
        QObject::connect(s, &QSpinBox::valueChanged, s, tell);
    else if (auto *d = qobject_cast<QDoubleSpinBox *>(input))
        QObject::connect(d, &QDoubleSpinBox::valueChanged, d, tell);
    else if (auto *s = qobject_cast<QSlider *>(input))
        QObject::connect(s, &QSlider::valueChanged, s, tell);
    else if (auto *d = qobject_cast<QDateTimeEdit *>(input))
        QObject::connect(d, &QDateTimeEdit::dateTimeChanged, d, tell);
    else if (auto *l = qobject_cast<QListWidget *>(input))
        QObject::connect(l, &QListWidget::itemSelectionChanged, l, tell);
}

void watchFields(QWidget *root, const FieldEdited &edited)
{
    if (!root)
        return;
    if (root->property("fieldId").isValid())
        watchField(root, edited);
    for (QWidget *w : root->findChildren<QWidget *>()) {
        if (w->property("fieldId").isValid())
            watchField(w, edited);
    }
}

QString carryText(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Bool:
        return value.toBool() ? u"true"_s : u"false"_s;
    case QJsonValue::Double:
        return QString::number(value.toDouble(), 'g', 15);
    case QJsonValue::Array:
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    default:
        return {};
    }
}

} // namespace render
