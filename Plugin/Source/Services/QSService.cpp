#include "Services/QSService.h"

#include "Core/QSSession.h"
#include "Foundation/Assertion.h"
#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Services/NUKeychain.h"
#include "Services/QSServiceSlave.h"
#include "Services/QSServicesManager.h"
#include "Services/ServiceTypes.h"
#include "Services/SlaveClasses.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

constexpr const char* kClassName = "QSService";
constexpr TimeInterval kRedirectCounts = 15 * 60;
// One bit for each type up to 17; set: only one of it.
constexpr std::uint32_t kSingleTypes = 0x3AC01;
constexpr std::uint32_t kHighestMaskedType = 17;

std::optional<std::string> textOrNothing(const char* text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

Value valueOf(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

std::optional<std::string> textIn(const Value& value) {
    return value.type() == Value::Type::String ? std::optional(value.stringValue()) : std::nullopt;
}

}  // namespace

std::uint64_t QSService::utilityTypeForServiceType(std::int32_t type) { return factsOfServiceType(type).utility; }

std::optional<std::string> QSService::nameForServiceType(std::int32_t type) {
    const QSServiceType& facts = factsOfServiceType(type);
    return facts.isLocalized ? std::optional(QSLocalizedString(facts.name)) : textOrNothing(facts.name);
}

std::optional<std::string> QSService::identifierForServiceType(std::int32_t type) {
    return textOrNothing(factsOfServiceType(type).identifier);
}

std::string QSService::iconForServiceType(std::int32_t type) {
    const QSServiceType& facts = factsOfServiceType(type);
    if (!facts.identifier) return {};
    return "plugin:" + std::string(facts.identifier) + (type == kHighestServiceType ? "" : "_Icon");
}

bool QSService::isDeletableServiceType(std::int32_t type) {
    constexpr std::int32_t kReminders = 17;
    return type != kReminders && utilityTypeForServiceType(type) != kContactImagesUtility;
}

bool QSService::allowsMultipleOfServiceType(std::int32_t type) {
    const auto number = static_cast<std::uint32_t>(type);
    return number > kHighestMaskedType || !(kSingleTypes >> number & 1U);
}

QSService::QSService(std::int32_t type)
    : HostObject((ClassRegistry::current().define(kClassName), kClassName)),
      uniqueIdentifier_(newUUIDString()),
      serviceType_(type) {
    assertThat(!uniqueIdentifier_->empty(), "Service does not have a valid unique identifier! This is critical!");
}

std::shared_ptr<QSService> QSService::initWithServiceType(std::int32_t type) {
    return std::shared_ptr<QSService>(new QSService(type));
}

std::shared_ptr<QSService> QSService::initWithCoder(const Value& archive) {
    const std::int64_t stored = archive["serviceType"].integerValue();
    auto service = initWithServiceType(static_cast<std::int32_t>(stored));
    assertThat(static_cast<std::uint32_t>(service->serviceType_) == stored || service->serviceType_ == stored,
               stringWithFormat("Something is wrong with our service identifier: %@!", {stored}));
    service->uniqueIdentifier_ = textIn(archive["uniqueIdentifier"]);
    service->credentials_ = archive["credentials"].dictionary();
    service->login_ = textIn(archive["login"]);
    service->linked_ = archive["linked"].boolValue();
    if (service->uniqueIdentifier_ && service->uniqueIdentifier_->empty()) {
        logError("Could not load unique identifier for this service. Creating new identifier now!");
        service->uniqueIdentifier_ = newUUIDString();
        assertThat(!service->uniqueIdentifier_->empty(),
                   "Service does not have a valid unique identifier! This is critical!");
    }
    service->passwordIsUnread_ = service->login_.has_value();
    (void)service->password();
    return service;
}

Value QSService::encoded() const {
    return Dictionary{{"serviceType", std::int64_t{static_cast<std::uint32_t>(serviceType_)}},
                      {"uniqueIdentifier", valueOf(uniqueIdentifier_)},
                      {"credentials", credentials_},
                      {"login", valueOf(login_)},
                      {"linked", linked_}};
}

const std::optional<std::string>& QSService::password() const {
    if (passwordIsUnread_ && login_) {
        password_ = NUKeychain::passwordFromKeychainItem(keychainIdentifier(), *login_);
        passwordIsUnread_ = !password_;
    }
    return password_;
}

void QSService::setPassword(std::optional<std::string> password) {
    if (password) DDLog::maskSecret(*password);
    password_ = std::move(password);
    passwordIsUnread_ = false;
}

void QSService::setLinking(bool linking) {
    redirectAwaitedSince_ = linking ? std::optional(RunLoop::main().now()) : std::nullopt;
    if (linking_ == linking) return;
    willChangeValueForKey("linking");
    linking_ = linking;
    didChangeValueForKey("linking");
}

void QSService::markAsLinked(bool linked) {
    setLinking(false);
    if (linked_ == linked) return;
    willChangeValueForKey("linked");
    linked_ = linked;
    didChangeValueForKey("linked");
    if (linked)
        savePasswordInKeychain();
    else
        removePasswordFromKeychain();
}

bool QSService::awaitsRedirect() const {
    return !linked_ && linking_ && redirectAwaitedSince_ &&
           RunLoop::main().now() - *redirectAwaitedSince_ <= kRedirectCounts;
}

bool QSService::hasSlaveClass() const {
    return slave_ || QSServicesManager::sharedManager().slaveClasses().hasSlaveForServiceType(serviceType_);
}

QSServiceSlaveProtocol& QSService::slave() {
    if (!slave_) {
        const QSSlaveClass* found =
            QSServicesManager::sharedManager().slaveClasses().classForServiceType(utilityType(), serviceType_);
        if (found && found->initWithService)
            slave_ = found->initWithService(std::static_pointer_cast<QSService>(shared_from_this()));
    }
    assertThat(slave_ != nullptr,
               stringWithFormat("Could not find or create a slave for service '%@'!", {description()}));
    return *slave_;
}

std::string QSService::utility() const { return nameForUtilityType(utilityType()); }

std::string QSService::name() const {
    const std::string type = nameForServiceType(serviceType_).value_or("");
    if (!showUsername()) return type;
    return stringWithFormat("%@ (%@)", {type, login_ ? *login_ : QSLocalizedString("Unknown")});
}

std::string QSService::bannerImage() const {
    const auto identifier = this->identifier();
    return identifier ? "plugin:" + *identifier + "_Banner" : std::string();
}

bool QSService::showUsername() const {
    return QSServicesManager::sharedManager().servicesOfServiceType(serviceType_, false).size() > 1;
}

std::string QSService::keychainIdentifier() const {
    const auto& info = QSSession::current().bundle().infoDictionary();
    const auto name = info.find("CFBundleName");
    return stringWithFormat("%@ - %@ (%@)", {name == info.end() ? Value() : name->second, valueOf(identifier()),
                                             valueOf(uniqueIdentifier_)});
}

Color QSService::linkStateColor() const {
    if (linking_) return Color::colorWithRed(0.99, 0.75, 0.25, 1);
    if (linked_) return Color::colorWithRed(0.2, 0.78, 0.29, 1);
    return Color::colorWithRed(0.88, 0.88, 0.88, 1);
}

std::string QSService::description() const { return stringWithFormat("%@ (%@)", {name(), valueOf(uniqueIdentifier_)}); }

void QSService::savePasswordInKeychain() {
    if (login_ && password()) NUKeychain::setPassword(*password_, keychainIdentifier(), *login_);
}

void QSService::removePasswordFromKeychain() {
    if (login_) NUKeychain::removeKeychainItem(keychainIdentifier(), *login_);
}

std::vector<std::string> QSService::keyPathsForValuesAffectingValueForKey(std::string_view key) const {
    if (key == "linkStateColor") return {"linked", "linking"};
    return {};
}

}  // namespace qs
