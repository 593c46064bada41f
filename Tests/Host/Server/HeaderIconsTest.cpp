// The small pictures in the head of a message, as the page is told of them.
#include <gmock/gmock.h>

#include "MainViewer.h"
#include "PageState.h"
#include "Support/TemporaryHost.h"
#include "Viewer/HeaderView.h"

namespace qs {
namespace {

TEST(HeaderIcons, StandFromRightToLeftInTheOrderInWhichTheyCame) {
    TemporaryHost host;
    const auto message = host.receive("ada", "Ben <ben@example.org>", "Minutes", "Text");
    host.viewer().selectMailbox("ada/INBOX");
    host.viewer().selectIDs({message->libraryID()});
    host.settle();
    auto row = std::make_shared<HeaderImageRow>("row", host.viewer().window());
    row->images = {{"plugin:One", "First", 14}, {"plugin:Two", "Second", 12}};
    host.viewer().header()->belowDate = {row};
    const PageSections sections = makePageSections(host.application(), {});
    EXPECT_THAT(*sections.at("message"), testing::HasSubstr(R"([{"image":"plugin:Two","label":"Second","size":12},)"
                                                            R"({"image":"plugin:One","label":"First","size":14}])"));
}

}  // namespace
}  // namespace qs
