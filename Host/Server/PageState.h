// Everything that the page shows, as sections of JSON text, made afresh from the models; and, for each page, which of
// them it has not seen yet. Main thread.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qs {

class MailApplication;

using PageSections = std::map<std::string, std::shared_ptr<const std::string>>;

// Makes every section. Those whose text equals that in `before` share it, so that comparing pointers is enough.
PageSections makePageSections(MailApplication& application, const PageSections& before);

// The update that brings a page from what it has seen to `now`, and notes it as seen; empty when nothing changed.
std::string updateFor(PageSections& seen, const PageSections& now);

}  // namespace qs
