#include "Compose/UploadUnderWay.h"

#include <algorithm>
#include <map>

#include "Foundation/Format.h"

namespace qs {

struct UploadUnderWay::Files {
    std::map<int, std::string> names;
    int last = 0;
};

std::shared_ptr<UploadUnderWay::Files> UploadUnderWay::known(const HostObject& window) {
    return window.associated<std::shared_ptr<Files>>("uploadsUnderWay");
}

UploadUnderWay::UploadUnderWay(HostObject& window, std::string fileName) : files_(known(window)) {
    if (!files_) window.setAssociatedObject("uploadsUnderWay", files_ = std::make_shared<Files>());
    number_ = ++files_->last;
    files_->names.emplace(number_, std::move(fileName));
}

UploadUnderWay::~UploadUnderWay() { files_->names.erase(number_); }

std::vector<std::string> UploadUnderWay::filesOf(const HostObject& window) {
    std::vector<std::string> names;
    if (const auto files = known(window))
        for (const auto& [number, name] : files->names)
            if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    return names;
}

std::string UploadUnderWay::sentenceAbout(const std::vector<std::string>& files) {
    if (files.size() == 1) return stringWithFormat("“%@” is not attached yet", {files.front()});
    return stringWithFormat("%ld files are not attached yet", {static_cast<std::int64_t>(files.size())});
}

}  // namespace qs
