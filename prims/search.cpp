#include "prims/search.h"

#include "prims/field.h"
#include "prims/json.h"

#include <QLineEdit>

using namespace Qt::StringLiterals;

namespace prims {

QJsonObject searchBody(const QJsonObject &el, const QString &text)
{
    QJsonObject body = readObject(readObject(el, "submit"_L1), "body"_L1);
    const QString id = readText(el, "id"_L1);
    body.insert(id.isEmpty() ? u"query"_s : id, text);
    return body;
}

QWidget *buildSearch(const QJsonObject &el, const Callbacks &cb, QWidget *parent)
{
    auto *box = new QLineEdit(parent);
    box->setPlaceholderText(readText(el, "placeholder"_L1, u"Search"_s));
    box->setText(readText(el, "value"_L1));
    box->setClearButtonEnabled(true);
    if (const int width = readInt(el, "width"_L1, 0, 0, 2000); width > 0)
        box->setFixedWidth(width);
    setFieldId(box, readText(el, "id"_L1));

    const QString path = readText(readObject(el, "submit"_L1), "path"_L1);
    if (!path.isEmpty() && cb.press) {
        QObject::connect(box, &QLineEdit::returnPressed, box,
                         [box, el, path, press = cb.press] { press(path, searchBody(el, box->text())); });
    }
    return fieldLabel(box, readText(el, "label"_L1), parent);
}

} // namespace prims
