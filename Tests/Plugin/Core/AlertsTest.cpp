// The plug-in's alerts and pictures.
#include "Core/QSPluginImage.h"
#include "Core/QSRunAlertPanel.h"
#include "MainViewer.h"
#include "Models/Alert.h"
#include "Models/View.h"
#include "PluginTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kKey = "Really empty the trash?";

class AlertsTest : public PluginTest {
protected:
    // Keeps the alert that is shown next and answers it.
    void answerNextAlert(int button, bool tick = false) {
        RunLoop::main().post([this, button, tick] {
            const auto& shown = AlertCentre::shared().shown();
            ASSERT_EQ(shown.size(), 1u);
            shown_ = *shown.front();
            AlertCentre::shared().answer(shown_.identifier, button, tick);
        });
    }
    Alert shown_;
};

TEST_F(AlertsTest, ShowTitleTextButtonsAndThePluginsIcon) {
    startHost();
    for (int button : {0, 1, 2}) {
        answerNextAlert(button);
        EXPECT_EQ(QSRunAlertPanel("Upload failed", "%@ has %ld MB, 100%%.", {"Retry", "Cancel", "Skip"}, {"a.pdf", 12}),
                  1000 + button);
    }
    EXPECT_EQ(shown_.windowTitle, "Upload failed");
    EXPECT_EQ(shown_.messageText, "Upload failed");
    EXPECT_EQ(shown_.informativeText, "a.pdf has 12 MB, 100%.");
    EXPECT_THAT(shown_.buttons, ElementsAre("Retry", "Cancel", "Skip"));
    EXPECT_EQ(shown_.cancelButtonIndex(), 1);
    EXPECT_EQ(shown_.iconName, "plugin:Quillstead");
    EXPECT_EQ(shown_.windowIdentifier, "");
    EXPECT_FALSE(shown_.showsSuppressionButton);
}

TEST_F(AlertsTest, HangOnAWindow) {
    startHost();
    answerNextAlert(1);
    EXPECT_EQ(QSRunAlertSheet(*host_->application().viewer().window(), "Sure?", "Text", {"Yes", "No"}), 1001);
    EXPECT_EQ(shown_.windowIdentifier, "viewer");
    EXPECT_EQ(shown_.messageText, "Sure?");
}

TEST_F(AlertsTest, CanBeSilenced) {
    startHost();
    answerNextAlert(1, false);
    EXPECT_EQ(QSRunAlertPanelWithCheckbox(kKey, "%ld messages go.", {"Empty", "Cancel"}, {7}), 1001);
    EXPECT_EQ(shown_.messageText, kKey);
    EXPECT_EQ(shown_.informativeText, "7 messages go.");
    EXPECT_TRUE(shown_.showsSuppressionButton);
    EXPECT_FALSE(shown_.suppressionState) << "the box is empty at first";
    EXPECT_EQ(defaults().objectForKey(kKey), Value(false));

    answerNextAlert(0, true);
    EXPECT_EQ(QSRunAlertPanelWithCheckbox(kKey, "Text", {"Empty", "Cancel"}), 1000);
    EXPECT_EQ(defaults().objectForKey(kKey), Value(true));

    EXPECT_EQ(QSRunAlertPanelWithCheckbox(kKey, "Text", {"Empty", "Cancel"}), -1);
    EXPECT_THAT(AlertCentre::shared().shown(), IsEmpty());
    restart();
    EXPECT_EQ(QSRunAlertPanelWithCheckbox(kKey, "Text", {"Empty", "Cancel"}), -1) << "it stays so";
}

TEST_F(AlertsTest, PicturesComeFromTheBundle) {
    startHost();
    EXPECT_TRUE(pluginImageNamed("Quillstead"));
    const auto drawn = pluginImageNamed("Quillstead", ImageSize{40, 30});
    ASSERT_TRUE(drawn);
    EXPECT_EQ(drawn->size(), (ImageSize{40, 30}));
    EXPECT_FALSE(pluginImageNamed("NoSuchPicture"));
    EXPECT_FALSE(pluginImageNamed("../Info"));
    EXPECT_TRUE(log_.contains("NoSuchPicture"));
}

}  // namespace
}  // namespace qs
