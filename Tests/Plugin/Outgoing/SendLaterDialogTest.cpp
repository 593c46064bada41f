// Sending later: the action of toolbar and menu, and both dialogs, as forms that a page would draw.
#include "ComposeWindow.h"
#include "Core/QSPopoverController.h"
#include "Foundation/DateFormatter.h"
#include "Mail/MessageHeaders.h"
#include "MainViewer.h"
#include "Models/Form.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendLaterDialogController.h"
#include "Outgoing/SendSteps.h"
#include "PluginTest.h"
#include "Text/MailHeaderDate.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const Operation<void(HostObject*)> sendLater{"sendLater:"};

class SendLaterDialogTest : public PluginTest {
protected:
    // Sunday, 22 November 2026, 10:00 in Berlin.
    static TemporaryHostOptions options(int osMinor = 12) {
        return {
            .osMinor = osMinor, .start = Date{1'795'338'000}, .timeZone = "Europe/Berlin", .startDeliveries = false};
    }
    static Date now() { return RunLoop::main().now(); }

    std::shared_ptr<ComposeWindow> openDialog() {
        auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
        sendLater(window->controller(), nullptr);
        host_->settle();
        return window;
    }
    // As the page does.
    static void set(ComposeWindow& window, std::string_view id, Value value) {
        FormControl* control = window.window()->currentSheet()->control(id);
        ASSERT_NE(control, nullptr) << id;
        ASSERT_TRUE(control->enabled) << id;
        control->value = value;
        control->onChange(Value(control->value));
    }
    static std::string text(ComposeWindow& window) {
        return window.window()->currentSheet()->control("dateTextField")->value.stringValue();
    }
    // In the language of whoever runs this.
    static std::string inWords(std::string_view date) {
        const auto parsed = parseDate(date, {.pattern = "yyyy-MM-dd HH:mm"});
        return formatDate(parsed.value(), {.pattern = localizedDatePattern("yMMMMEEEEdjm"), .locale = {}});
    }
    void press(ComposeWindow& window, int code) {
        window.window()->endSheet(*window.window()->currentSheet(), code);
        host_->settle();
    }
    std::optional<std::string> scheduleOf(const MessageSummary& summary) {
        return host_->library().messageWithID(summary.id)->headers()->firstHeaderForKey(QSHeaderKeyXScheduledDate);
    }
    std::vector<MessageSummary> outbox() { return host_->messagesOf("ada", MailboxKind::Outbox); }
};

TEST_F(SendLaterDialogTest, EachModeEnablesItsControlsAndTellsItsDate) {
    startHost(options());
    auto window = openDialog();
    auto& sheet = *window->window()->currentSheet();
    const auto enabled = [&] {
        std::vector<std::string> ids;
        for (const FormControl& control : sheet.groups.at(0).controls)
            if (control.enabled && control.id != "mode" && control.id != "dateTextField") ids.push_back(control.id);
        return ids;
    };
    set(*window, "mode", 0);
    EXPECT_THAT(enabled(), ElementsAre("specialDateSelector", "specialDateTimePicker"));
    set(*window, "specialDateSelector", 2);
    EXPECT_EQ(text(*window), inWords("2026-11-23 09:00"));
    set(*window, "mode", 1);
    EXPECT_THAT(enabled(), ElementsAre("distantDateField", "distantDateScaleSelector"));
    set(*window, "distantDateField", 90);
    set(*window, "distantDateScaleSelector", 0);
    EXPECT_EQ(text(*window), inWords("2026-11-22 11:30"));
    set(*window, "mode", 2);
    EXPECT_THAT(enabled(), ElementsAre("exactDatePicker"));
    set(*window, "exactDatePicker", now() + 86400);
    EXPECT_EQ(text(*window), inWords("2026-11-23 10:00"));
    EXPECT_EQ(defaults().integerForKey("QSSendLaterModeKey"), 2);

    // A mode that nobody knows, as in settings written by hand.
    defaults().setObject(9, "QSSendLaterModeKey");
    host_->advance(1);
    EXPECT_THAT(enabled(), IsEmpty());
    EXPECT_EQ(text(*window), "Choose when it shall leave.");
    press(*window, kSendLaterConfirmed);
    EXPECT_THAT(outbox(), IsEmpty()) << "without a date nothing happens";
    EXPECT_THAT(host_->application().composeWindows(), SizeIs(1));
}

TEST_F(SendLaterDialogTest, TheDateTicksAlongAndAPassedOneSaysSo) {
    startHost(options());
    defaults().setObject(1, "QSSendLaterModeKey");
    defaults().setObject(1, "QSSendLaterDistanceCounterKey");
    defaults().setObject(0, "QSSendLaterDistanceScaleKey");
    auto window = openDialog();
    EXPECT_EQ(text(*window), inWords("2026-11-22 10:01"));
    host_->advance(60);
    EXPECT_EQ(text(*window), inWords("2026-11-22 10:02"));

    auto& confirm = window->window()->currentSheet()->buttons.at(1);
    set(*window, "mode", 2);
    set(*window, "exactDatePicker", now() + 10);
    EXPECT_EQ(confirm.title, "Schedule");
    host_->advance(7);
    EXPECT_EQ(confirm.title, "Schedule");
    host_->advance(1);
    EXPECT_EQ(confirm.title, "Send Now") << "two seconds ahead is no schedule";
    EXPECT_THAT(text(*window), HasSubstr("\nThat time is not ahead any more"));
}

TEST_F(SendLaterDialogTest, OpensAsItWasLeftOrWithTheScheduleThatStands) {
    startHost(options());
    for (const TimeInterval ahead : {-3600.0, 2.0, 3600.0}) {
        defaults().setObject(1, "QSSendLaterModeKey");
        const Date date = now() + ahead;
        auto draft = host_->receive(
            "ada", "Ada <ada@example.org>", "Planned", "Text", MailboxKind::Drafts,
            "To: ben@example.org\r\nX-Quillstead-Scheduled-Date: " + mailHeaderStringFromDate(date) + "\r\n");
        host_->viewer().open(draft->libraryID());
        host_->settle();
        auto window = host_->application().composeWindows().back();
        sendLater(window->controller(), nullptr);
        host_->settle();
        auto sheet = window->window()->currentSheet();
        ASSERT_NE(sheet, nullptr);
        const bool stands = ahead > 2;
        EXPECT_EQ(defaults().integerForKey("QSSendLaterModeKey"), stands ? 2 : 1) << ahead;
        EXPECT_EQ(sheet->control("exactDatePicker")->value.dateValue(), stands ? date : now()) << ahead;
        EXPECT_EQ(sheet->control("exactDatePicker")->earliest, now()) << ahead;
        press(*window, kSendLaterCancelled);
        window->close(ComposeWindow::Closing::Discard);
        host_->settle();
    }
}

TEST_F(SendLaterDialogTest, NoDateBeforeTheEarliestCanBeChosen) {
    startHost(options());
    auto window = openDialog();
    set(*window, "mode", 2);
    set(*window, "exactDatePicker", now() - 86400);
    EXPECT_EQ(window->window()->currentSheet()->control("exactDatePicker")->value.dateValue(), now());
    EXPECT_EQ(defaults().objectForKey("QSSendLaterDateKey").dateValue(), now());
}

TEST_F(SendLaterDialogTest, WhatEachAnswerDoesOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        for (const auto& [count, code, sent, scheduled] : {std::tuple{2, kSendLaterConfirmed, true, true},
                                                           {0, kSendLaterConfirmed, true, false},
                                                           {2, kSendLaterCancelled, false, false}}) {
            startHost(options(minor));
            auto window = openDialog();
            set(*window, "mode", 1);
            set(*window, "distantDateField", count);
            set(*window, "distantDateScaleSelector", 1);
            host_->advance(5);
            const Date expected = now() + count * 3600;
            press(*window, code);
            auto messages = outbox();
            ASSERT_THAT(messages, SizeIs(sent ? 1 : 0)) << minor;
            EXPECT_EQ(host_->application().composeWindows().empty(), sent) << minor;
            if (sent) {
                EXPECT_EQ(scheduleOf(messages[0]),
                          scheduled ? std::optional(mailHeaderStringFromDate(expected)) : std::nullopt)
                    << minor;
            }
            EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty()) << minor;
            window.reset();
            TearDown();
        }
    }
    startHost();
}

TEST_F(SendLaterDialogTest, TheStepsOfASendComeFirstAndCanStopIt) {
    for (const bool stops : {true, false}) {
        startHost(options());
        std::vector<std::string> steps;
        Class& controller = *QSClassFromString("ComposeViewController");
        const Operation<void(SendStepBlock)> attachments("test_attachments"), upload("test_upload");
        const Operation<void()> pixel("test_pixel");
        controller.add(attachments, [&](HostObject&, const SendStepBlock& block) {
            steps.emplace_back("attachments");
            block(0);
        });
        controller.add(upload, [&](HostObject&, const SendStepBlock& block) {
            steps.emplace_back("upload");
            block(stops ? 1 : 0);
        });
        controller.add(pixel, [&](HostObject&) { steps.emplace_back("pixel"); });
        for (const auto& [step, mine] :
             {std::pair{send_steps::checkForMissingAttachments.selector(), attachments.selector()},
              {send_steps::checkForAttachmentUploading.selector(), upload.selector()},
              {send_steps::addTrackingPixelToMessageBody.selector(), pixel.selector()}})
            ASSERT_TRUE(controller.jr_swizzleMethod(step, mine));
        auto window = openDialog();
        EXPECT_EQ(window->window()->currentSheet() != nullptr, !stops);
        EXPECT_EQ(steps, stops ? std::vector<std::string>({"attachments", "upload"})
                               : std::vector<std::string>({"attachments", "upload", "pixel"}));
        window.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendLaterDialogTest, AWindowThatClosesTakesItsDialogAlong) {
    startHost(options());
    auto window = openDialog();
    window->close(ComposeWindow::Closing::Discard);
    window.reset();
    host_->settle();
    const auto date = defaults().objectForKey("QSSendLaterDateKey").dateValue();
    host_->advance(60);
    EXPECT_THAT(outbox(), IsEmpty());
    EXPECT_EQ(defaults().objectForKey("QSSendLaterDateKey").dateValue(), date);
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());

    // And a program that ends while a dialog is open.
    auto other = openDialog();
    other.reset();
    restart();
    EXPECT_THAT(outbox(), IsEmpty());
}

TEST_F(SendLaterDialogTest, ToolbarAndMenuOfferItWhereSendIsOffered) {
    for (const int minor : {10, 11, 12}) {
        startHost(options(minor));
        auto window = host_->compose("ada", "", "Minutes", "All agreed.");
        auto toolbar = window->window()->toolbar();
        std::vector<std::string> identifiers;
        for (const auto& item : toolbar->items())
            identifiers.push_back(item->itemIdentifier());
        ASSERT_GE(identifiers.size(), 2u);
        EXPECT_EQ(identifiers[1], "SendLater") << minor;
        auto item = toolbar->items()[1];
        EXPECT_TRUE(item->isKindOf("BorderlessToolbarItem"));
        EXPECT_EQ(item->menuFormRepresentation->target(), window->controller()) << minor;
        auto menuItem = host_->application().mainMenu()->itemAtIndex(5)->submenu()->itemWithTag(kTagSendLater);
        ASSERT_NE(menuItem, nullptr);

        for (const bool hasRecipient : {false, true}) {
            if (hasRecipient) window->update({.to = std::vector<std::string>{"ben@example.org"}});
            toolbar->validateVisibleItems();
            EXPECT_EQ(item->enabled, hasRecipient) << minor;
            EXPECT_EQ(toolbar->items()[0]->enabled, hasRecipient) << "the host's own items stay as they were";
            EXPECT_EQ(host_->application().isEnabled(*menuItem), hasRecipient) << minor;
        }
        EXPECT_TRUE(host_->application().choose(*menuItem));
        host_->settle();
        EXPECT_NE(window->window()->currentSheet(), nullptr) << minor;
        EXPECT_FALSE(host_->application().isEnabled(*menuItem)) << "one dialog at a time";
        // Without a compose window in front there is nothing to send later.
        window->close(ComposeWindow::Closing::Discard);
        host_->settle();
        EXPECT_FALSE(host_->application().isEnabled(*menuItem)) << minor;
        window.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendLaterDialogTest, TheButtonIsPointedOutOnce) {
    startHost(options());
    auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    host_->advance(0.9);
    EXPECT_FALSE(QSSession::current().popoverController().viewWithIdentifier("SendLaterButton"));
    host_->advance(5);
    auto hint = QSSession::current().popoverController().viewWithIdentifier("SendLaterButton");
    ASSERT_TRUE(hint);
    EXPECT_EQ(hint->infoText, "Schedule emails to be sent later by using this button.");
    EXPECT_EQ(hint->preferredEdge, 3);
    EXPECT_EQ(hint->associatedView, window->window()->toolbar()->items()[1]->view());
    // A toolbar that goes before its hint is due.
    auto second = host_->compose("ada", "ben@example.org", "Another", "Text");
    second->close(ComposeWindow::Closing::Discard);
    second.reset();
    host_->advance(5);
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
}

TEST_F(SendLaterDialogTest, WithoutItsInterfaceFileEveryDialogEndsAsCancelled) {
    startHost(options());
    TemporaryFolder folder;
    std::filesystem::copy(QS_PLUGIN_BUNDLE, folder / "Other.mailbundle", std::filesystem::copy_options::recursive);
    std::filesystem::remove(folder / "Other.mailbundle/Resources/SendLaterDialog.plist");
    auto bundle = Bundle::open(folder / "Other.mailbundle");
    ASSERT_TRUE(bundle);
    auto window = host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    MailBundleUnload();
    QSSession session(*bundle);
    auto dialog = std::make_shared<QSSendLaterDialogController>(window->window());
    EXPECT_THAT(log_.messages(LogLevel::Error), ElementsAre("FATAL: Failed loading send later view nib file"));
    std::vector<int> codes;
    dialog->showSchedulingDialogForDate(std::nullopt, [&](int code, auto) { codes.push_back(code); });
    dialog->showSchedulingUpdateDialogForDate(now() + 60, [&](int code) { codes.push_back(code); });
    dialog->showSchedulingUpdateDialogForDate(now() + 2, [&](int code) { codes.push_back(code); });
    EXPECT_THAT(codes, ElementsAre(kSendLaterCancelled, kSendLaterCancelled, kSendLaterIgnored));
    EXPECT_EQ(window->window()->currentSheet(), nullptr);
}

}  // namespace
}  // namespace qs
