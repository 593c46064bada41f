#include "Services/SlaveClasses.h"

#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Reminder/QSAppleRemindersConverter.h"
#include "Services/QSService.h"
#include "Services/QSServiceSlave.h"
#include "Services/ServiceTypes.h"
#include "Uploader/QSBoxUploader.h"

namespace qs {

namespace {

template <class Worker>
std::shared_ptr<QSServiceSlaveProtocol> make(const std::shared_ptr<QSService>& service) {
    return std::make_shared<Worker>(service);
}

}  // namespace

QSSlaveClasses::QSSlaveClasses() {
    for (int type = 0; type <= kHighestServiceType; ++type)
        if (const char* name = factsOfServiceType(type).slaveClass) classes_[type].name = name;
    setMaker(6, make<QSBoxUploader>);
    setMaker(17, make<QSAppleRemindersConverter>);
}

const QSSlaveClass* QSSlaveClasses::classForServiceType(std::uint64_t utility, std::int32_t type) const {
    if (utility > kTasksUtility) return nullptr;
    const auto found = classes_.find(type);
    assertThat(found != classes_.end() && factsOfServiceType(type).utility == utility,
               stringWithFormat("Invalid class type requested: %d", {type}));
    return &found->second;
}

bool QSSlaveClasses::hasSlaveForServiceType(std::int32_t type) const {
    const auto found = classes_.find(type);
    return found != classes_.end() && found->second.initWithService;
}

void QSSlaveClasses::setMaker(std::int32_t type, decltype(QSSlaveClass::initWithService) maker) {
    assertThat(classes_.contains(type), stringWithFormat("Invalid class type requested: %d", {type}));
    classes_[type].initWithService = std::move(maker);
}

}  // namespace qs
