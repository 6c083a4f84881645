#pragma once
// The one door to the desktop's own programs: the mail client (a mailto URL) and the file browser
// (a folder URL). Tests put an opener of their own in front of it, so nothing is launched.

#include <QUrl>

#include <functional>

namespace tools {

using UrlOpener = std::function<bool(const QUrl &url)>;

// Hands the URL to the desktop (QDesktopServices::openUrl) or to the opener a test set; true when
// something took it.
bool openUrl(const QUrl &url);

// Test seam: take the URLs instead of the desktop; an empty opener restores the desktop.
void setUrlOpener(UrlOpener opener);

} // namespace tools
