#include "tools/desktop.h"

#include <QDesktopServices>

namespace tools {

namespace {

UrlOpener &opener()
{
    static UrlOpener o;
    return o;
}

} // namespace

bool openUrl(const QUrl &url)
{
    if (const UrlOpener &o = opener())
        return o(url);
    return QDesktopServices::openUrl(url);
}

void setUrlOpener(UrlOpener o)
{
    opener() = std::move(o);
}

} // namespace tools
