// The factories of workers: which class does the work of a service, and how one is made. A new worker adds one line to
// SlaveClasses.cpp. Main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string_view>

namespace qs {

class QSService;
class QSServiceSlaveProtocol;

struct QSSlaveClass {
    std::string_view name;
    // Empty: the worker is not part of this program.
    std::function<std::shared_ptr<QSServiceSlaveProtocol>(const std::shared_ptr<QSService>& service)> initWithService;
};

class QSSlaveClasses {
public:
    // Of the factory for the utility (upload, notes, contact images, tasks), the class for a type. A type that isn't
    // that factory's own is an assertion failure. Null without a factory.
    const QSSlaveClass* classForServiceType(std::uint64_t utility, std::int32_t type) const;
    // Whether a service of the type can do anything.
    bool hasSlaveForServiceType(std::int32_t type) const;
    // Takes the place of a class, or fills it in.
    void setMaker(std::int32_t type, decltype(QSSlaveClass::initWithService) maker);

    QSSlaveClasses();

private:
    std::map<std::int32_t, QSSlaveClass> classes_;
};

}  // namespace qs
