#include "ViewerPane.h"

#include "MainViewer.h"
#include "MessageDocument.h"
#include "Viewer/WebDocument.h"

namespace qs {

namespace {

class PaneDocumentView final : public WebDocumentView {
public:
    explicit PaneDocumentView(std::weak_ptr<MainViewer> viewer, MailLibrary& library)
        : WebDocumentView("MUIWebDocumentView"), viewer_(std::move(viewer)), library_(library) {}

    std::shared_ptr<WebDocument> webDocument() const override {
        const auto message = shownMessage();
        return message ? documentOfMessage(library_, *message) : nullptr;
    }
    void
    generateSelectionWebDocument(const std::function<void(const std::shared_ptr<WebDocument>&)>& block) const override {
        const auto message = shownMessage();
        const std::string html = message ? viewer_.lock()->selectedText() : std::string();
        block(html.empty() ? nullptr : documentOfSelection(*message, html));
    }

private:
    MessageRef shownMessage() const {
        const auto viewer = viewer_.lock();
        return viewer ? viewer->selectedMessage() : nullptr;
    }
    const std::weak_ptr<MainViewer> viewer_;
    MailLibrary& library_;
};

class PaneActions final : public ActionViewController {
public:
    explicit PaneActions(std::weak_ptr<MainViewer> viewer, MailLibrary& library)
        : ActionViewController("MessageActionViewController"),
          view_(std::make_shared<PaneDocumentView>(std::move(viewer), library)) {}
    std::shared_ptr<WebDocumentView> webDocumentView() const override { return view_; }

private:
    const std::shared_ptr<WebDocumentView> view_;
};

class PaneConversation final : public ConversationViewController {
public:
    explicit PaneConversation(std::weak_ptr<MainViewer> viewer, MailLibrary& library)
        : ConversationViewController("ConversationViewController"),
          actions_(std::make_shared<PaneActions>(std::move(viewer), library)) {}
    std::shared_ptr<ActionViewController> actionViewController() const override { return actions_; }

private:
    const std::shared_ptr<ActionViewController> actions_;
};

class Pane final : public ViewingPaneViewController {
public:
    explicit Pane(std::weak_ptr<MainViewer> viewer, MailLibrary& library)
        : ViewingPaneViewController("ViewingPaneViewController"),
          conversation_(std::make_shared<PaneConversation>(std::move(viewer), library)) {}
    std::shared_ptr<ConversationViewController> conversationViewController() const override { return conversation_; }

private:
    const std::shared_ptr<ConversationViewController> conversation_;
};

}  // namespace

std::shared_ptr<ViewingPaneViewController> makeViewingPane(std::weak_ptr<MainViewer> viewer, MailLibrary& library) {
    return std::make_shared<Pane>(std::move(viewer), library);
}

void defineViewingPaneClasses(ClassRegistry& registry) {
    for (const char* name : {"MUIWebDocumentView", "MessageActionViewController", "ConversationViewController",
                             "ViewingPaneViewController"})
        registry.define(name);
}

}  // namespace qs
