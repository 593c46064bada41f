// What the tests of read tracking share: a host that is signed in at a scripted backend, and its requests.
#pragma once

#include "Account/BackendTest.h"
#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Compose/WebViewEditor.h"
#include "ComposeWindow.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/Json.h"
#include "Foundation/NotificationCenter.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Tracking/QSTrackingPixelManager.h"
#include "Viewer/ResourceLoad.h"
#include "Viewer/WebDocument.h"

namespace qs {

inline constexpr TimeInterval kMinute = 60, kDay = 86400;
inline constexpr const char* kTracking = "/api/v1/tracking";

class TrackingTest : public BackendTest {
protected:
    void begin(int osMinor = 12) {
        answers_["/api/v1/profile"] = {.body = R"({"id": 1, "name": "Ada"})"};
        answers_["/api/v1/properties"] = answers_["/api/v1/device"] = {.body = "{}"};
        startWithBackend({.osMinor = osMinor});
        signIn();
    }
    static Date now() { return RunLoop::main().now(); }
    std::vector<WebRequest> asks(std::string_view method) const {
        std::vector<WebRequest> found;
        for (WebRequest& request : backend_.requests())
            if (request.path == kTracking && request.method == method) found.push_back(std::move(request));
        return found;
    }
    std::size_t pulls() const { return asks("GET").size(); }
    void pull() {
        QSTrackingPixelManager::syncTrackingPixels();
        host_->settle();
    }
    std::shared_ptr<QSTrackingPixel> pixel(const char* uuid, const char* messageID = nullptr) {
        auto made = QSTrackingPixelManager::trackingPixelWithUUID(uuid, true);
        if (messageID) made->setMessageID(messageID);
        return made;
    }
    std::shared_ptr<HeaderRow> trackingRow(ComposeWindow& window) {
        for (const auto& view : window.controller()->headersEditor()->subjectStack()->views())
            if (auto row = std::dynamic_pointer_cast<HeaderRow>(view); row && row->identifier == "trackingView")
                return row;
        return nullptr;
    }
    void track(ComposeWindow& window, bool on = true) { trackingRow(window)->controls.front().onChange(on); }
};

}  // namespace qs
