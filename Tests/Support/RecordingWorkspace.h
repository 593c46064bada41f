// Notes what would have been opened or started on the desktop.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Workspace/Workspace.h"

namespace qs {

class RecordingWorkspace : public Workspace {
public:
    std::vector<std::string> openedUrls, openedFiles, launched;
    std::filesystem::path helper;

    Result<void> openURL(std::string_view url) override {
        openedUrls.emplace_back(url);
        return {};
    }
    Result<void> openURLOfProgram(std::string_view url, std::string_view scheme) override {
        openedUrls.push_back(std::string(scheme) + " program: " + std::string(url));
        return {};
    }
    Result<void> openFile(const std::filesystem::path& file, std::string_view) override {
        openedFiles.push_back(file.string());
        return {};
    }
    std::filesystem::path absolutePathForAppBundleWithIdentifier(std::string_view identifier) override {
        return identifier == "com.tallowbay.Quillstead" ? helper : std::filesystem::path();
    }
    Result<void> launchApplicationAtURL(const std::filesystem::path& application, unsigned options,
                                        const std::vector<std::string>&) override {
        launched.push_back(application.string() + " " + std::to_string(options));
        return {};
    }
    void registerApplication(std::string_view, std::filesystem::path, std::vector<std::string>) override {}
};

}  // namespace qs
