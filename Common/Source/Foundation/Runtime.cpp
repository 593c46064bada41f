#include "Foundation/Runtime.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <span>
#include <unordered_map>

#include "Foundation/Assertion.h"
#include "Foundation/Log.h"

namespace qs {
namespace {

// All names of the process. Never destroyed: selectors are constants of libraries that may go later.
struct SelectorNames {
    std::mutex lock;
    std::deque<std::string> names;  // a name stays where it is
    std::unordered_map<std::string_view, std::size_t> indexes;
};
SelectorNames& selectorNames() {
    static SelectorNames* const names = new SelectorNames;
    return *names;
}

std::size_t indexOfSelector(std::string_view name) {
    SelectorNames& all = selectorNames();
    std::lock_guard guard(all.lock);
    if (auto found = all.indexes.find(name); found != all.indexes.end()) return found->second;
    const std::string& kept = all.names.emplace_back(name);
    return all.indexes[kept] = all.names.size() - 1;
}

std::atomic<ClassRegistry*> installedRegistry = nullptr;

// What the methods of a class and of its superclasses come to, by selector index. Slots change one at a time; an
// exchange, which changes two, publishes a new table instead, so that no call sees half of it.
class DispatchTable {
public:
    explicit DispatchTable(std::size_t size) : slots_(size) {}
    DispatchTable(const DispatchTable& other, std::size_t size) : slots_(size) {
        for (std::size_t i = 0; i < std::min(size, other.slots_.size()); ++i)
            set(i, other.get(i));
    }

    std::size_t size() const { return slots_.size(); }
    const Implementation* get(std::size_t index) const {
        return index < slots_.size() ? slots_[index].load(std::memory_order_acquire) : nullptr;
    }
    void set(std::size_t index, const Implementation* implementation) {
        slots_[index].store(implementation, std::memory_order_release);
    }

private:
    std::vector<std::atomic<const Implementation*>> slots_;
};

struct OwnMethod {
    Selector selector;
    std::shared_ptr<const Implementation> implementation;
};

// The methods of one kind that a class has itself, in the order they came, and what calls look up.
struct MethodTable {
    std::vector<OwnMethod> own;
    std::shared_ptr<DispatchTable> current = std::make_shared<DispatchTable>(0);
    std::atomic<const DispatchTable*> dispatch = current.get();

    OwnMethod* ownMethod(Selector selector) {
        auto found = std::find_if(own.begin(), own.end(), [&](const OwnMethod& m) { return m.selector == selector; });
        return found == own.end() ? nullptr : &*found;
    }
};

std::string_view kindName(MethodKind kind) { return kind == MethodKind::Class ? "class method" : "method"; }

}  // namespace

Selector::Selector(std::string_view name) : index_(indexOfSelector(name)) {}

const std::string& Selector::name() const {
    SelectorNames& all = selectorNames();
    std::lock_guard guard(all.lock);
    return all.names[index_];
}

// Guarded by the registry's lock, but for what is atomic.
struct Class::Tables {
    std::atomic<Class*> superclass = nullptr;
    std::vector<Class*> subclasses;
    std::array<MethodTable, 2> methods;

    MethodTable& of(MethodKind kind) { return methods[static_cast<std::size_t>(kind)]; }

    std::shared_ptr<const Implementation> resolve(MethodKind kind, Selector selector) {
        for (Tables* tables = this; tables;) {
            if (OwnMethod* method = tables->of(kind).ownMethod(selector)) return method->implementation;
            Class* next = tables->superclass.load();
            tables = next ? next->tables_.get() : nullptr;
        }
        return nullptr;
    }

    // Makes calls see what these selectors now come to, here and in all subclasses.
    void refresh(MethodKind kind, std::span<const Selector> selectors,
                 std::vector<std::shared_ptr<const void>>& retired) {
        MethodTable& table = of(kind);
        std::size_t needed = 0;
        for (Selector selector : selectors)
            needed = std::max(needed, selector.index() + 1);
        if (selectors.size() > 1 || needed > table.current->size()) {
            std::size_t size = table.current->size();
            if (needed > size) size = std::max(needed, size + size / 2);
            auto next = std::make_shared<DispatchTable>(*table.current, size);
            for (Selector selector : selectors)
                next->set(selector.index(), resolve(kind, selector).get());
            retired.push_back(std::exchange(table.current, next));
            table.dispatch.store(next.get(), std::memory_order_release);
        } else {
            for (Selector selector : selectors)
                table.current->set(selector.index(), resolve(kind, selector).get());
        }
        for (Class* subclass : subclasses)
            subclass->tables_->refresh(kind, selectors, retired);
    }

    // Makes the tables anew from those of the superclass, here and in all subclasses.
    void rebuild(std::vector<std::shared_ptr<const void>>& retired) {
        for (MethodKind kind : {MethodKind::Instance, MethodKind::Class}) {
            MethodTable& table = of(kind);
            Class* parent = superclass.load();
            const DispatchTable* inherited = parent ? parent->tables_->of(kind).current.get() : nullptr;
            std::size_t size = inherited ? inherited->size() : 0;
            for (const OwnMethod& method : table.own)
                size = std::max(size, method.selector.index() + 1);
            auto next =
                inherited ? std::make_shared<DispatchTable>(*inherited, size) : std::make_shared<DispatchTable>(size);
            for (const OwnMethod& method : table.own)
                next->set(method.selector.index(), method.implementation.get());
            retired.push_back(std::exchange(table.current, next));
            table.dispatch.store(next.get(), std::memory_order_release);
        }
        for (Class* subclass : subclasses)
            subclass->tables_->rebuild(retired);
    }
};

Class::Class(ClassRegistry& registry, std::string name, Class* superclass)
    : registry_(registry), name_(std::move(name)), tables_(std::make_unique<Tables>()) {
    tables_->superclass.store(superclass);
    if (!superclass) return;
    superclass->tables_->subclasses.push_back(this);
    tables_->rebuild(registry_.retired_);
}

Class::~Class() = default;

Class* Class::superclass() const { return tables_->superclass.load(std::memory_order_acquire); }

bool Class::isSubclassOf(const Class& other) const {
    for (const Class* cls = this; cls; cls = cls->superclass())
        if (cls == &other) return true;
    return false;
}

void Class::setSuperclass(Class* superclass) {
    assertThat(!superclass || &superclass->registry_ == &registry_, "The superclass is of another registry");
    std::unique_lock guard(registry_.lock_);
    if (superclass && superclass->isSubclassOf(*this)) {
        guard.unlock();
        raiseAssertion("The class " + name_ + " can't be made a superclass of itself");
    }
    Class* before = tables_->superclass.exchange(superclass);
    if (before == superclass) return;
    if (before) std::erase(before->tables_->subclasses, this);
    if (superclass) superclass->tables_->subclasses.push_back(this);
    tables_->rebuild(registry_.retired_);
}

bool Class::addMethod(MethodKind kind, Selector selector, std::shared_ptr<const Implementation> implementation) {
    assertThat(implementation != nullptr, "A method needs an implementation");
    std::lock_guard guard(registry_.lock_);
    MethodTable& table = tables_->of(kind);
    if (table.ownMethod(selector)) return false;
    table.own.push_back({selector, std::move(implementation)});
    tables_->refresh(kind, std::span(&selector, 1), registry_.retired_);
    return true;
}

std::shared_ptr<const Implementation> Class::method(MethodKind kind, Selector selector) const {
    std::lock_guard guard(registry_.lock_);
    return tables_->resolve(kind, selector);
}

std::vector<Selector> Class::ownMethods(MethodKind kind) const {
    std::lock_guard guard(registry_.lock_);
    std::vector<Selector> selectors;
    for (const OwnMethod& method : tables_->of(kind).own)
        selectors.push_back(method.selector);
    return selectors;
}

const Implementation* Class::find(MethodKind kind, Selector selector) const {
    return tables_->of(kind).dispatch.load(std::memory_order_acquire)->get(selector.index());
}

Result<void> Class::jr_swizzleMethod(Selector original, Selector withMethod) {
    return exchange(MethodKind::Instance, original, withMethod);
}

Result<void> Class::jr_swizzleClassMethod(Selector original, Selector withClassMethod) {
    return exchange(MethodKind::Class, original, withClassMethod);
}

Result<void> Class::exchange(MethodKind kind, Selector a, Selector b) {
    std::lock_guard guard(registry_.lock_);
    const std::array<Selector, 2> selectors = {a, b};
    std::array<std::shared_ptr<const Implementation>, 2> found;
    for (std::size_t i = 0; i < 2; ++i) {
        found[i] = tables_->resolve(kind, selectors[i]);
        if (!found[i])
            return failure(std::string(kRuntimeErrorDomain), static_cast<int>(RuntimeError::UnknownMethod),
                           "The class " + name_ + " has no " + std::string(kindName(kind)) + " " + selectors[i].name());
    }
    if (found[0]->type() != found[1]->type())
        return failure(std::string(kRuntimeErrorDomain), static_cast<int>(RuntimeError::DifferentTypes),
                       "The " + std::string(kindName(kind)) + "s " + a.name() + " and " + b.name() + " of the class " +
                           name_ + " differ in type");

    MethodTable& table = tables_->of(kind);
    for (std::size_t i = 0; i < 2; ++i) {
        if (OwnMethod* own = table.ownMethod(selectors[i]))
            own->implementation = found[1 - i];
        else
            table.own.push_back({selectors[i], found[1 - i]});
    }
    tables_->refresh(kind, selectors, registry_.retired_);
    return {};
}

ClassRegistry::ClassRegistry() {
    static std::atomic<std::uint64_t> lastGeneration = 0;
    generation_ = ++lastGeneration;
    ClassRegistry* none = nullptr;
    if (!installedRegistry.compare_exchange_strong(none, this)) raiseAssertion("A class registry is installed already");
}

ClassRegistry::~ClassRegistry() { installedRegistry = nullptr; }

ClassRegistry& ClassRegistry::current() {
    ClassRegistry* registry = installedRegistry.load(std::memory_order_acquire);
    if (!registry) raiseAssertion("No class registry is installed");
    return *registry;
}

Class* ClassRegistry::classNamed(std::string_view name) const {
    std::lock_guard guard(lock_);
    auto found = classes_.find(name);
    return found == classes_.end() ? nullptr : found->second.get();
}

Class& ClassRegistry::define(std::string_view name, Class* superclass) {
    std::lock_guard guard(lock_);
    auto& place = classes_[std::string(name)];
    if (!place) place.reset(new Class(*this, std::string(name), superclass));
    return *place;
}

Class* NSClassFromString(std::string_view name) { return ClassRegistry::current().classNamed(name); }

namespace {

// Found classes by the name asked for. The lock is held around access to the dictionary only: two callers may look one
// name up at once and store the same class twice.
class ClassCache {
public:
    static ClassCache& shared() {
        static ClassCache* const cache = new ClassCache;
        return *cache;
    }

    Class* find(std::string_view name, std::uint64_t generation) {
        std::lock_guard guard(lock_);
        if (generation != generation_) return nullptr;
        auto found = classes_.find(name);
        return found == classes_.end() ? nullptr : found->second;
    }
    void store(std::string_view name, Class* cls, std::uint64_t generation) {
        std::lock_guard guard(lock_);
        if (generation < generation_) return;  // the registry it came from has gone meanwhile
        if (generation != std::exchange(generation_, generation)) classes_.clear();
        classes_.insert_or_assign(std::string(name), cls);
    }

private:
    std::recursive_mutex lock_;
    std::uint64_t generation_ = 0;
    std::map<std::string, Class*, std::less<>> classes_;
};

}  // namespace

Class* QSClassFromString(std::string_view name) {
    const ClassRegistry& registry = ClassRegistry::current();
    if (Class* cached = ClassCache::shared().find(name, registry.generation())) return cached;
    for (std::string_view prefix : {"", "MF", "MC"})
        if (Class* found = registry.classNamed(std::string(prefix).append(name))) {
            ClassCache::shared().store(name, found, registry.generation());
            return found;
        }
    logError("FATAL ERROR: Could not find a class for " + std::string(name));
    return nullptr;
}

void QSAddClassAsCategory(const Class* source, Class* target) {
    if (!source || !target) return;
    for (MethodKind kind : {MethodKind::Class, MethodKind::Instance})
        for (Selector selector : source->ownMethods(kind))
            if (!target->addMethod(kind, selector, source->method(kind, selector)))
                logError("FATAL ERROR: Could not add method " + selector.name() + " to " + target->name());
}

HostObject::HostObject(std::string_view className) : isa_(NSClassFromString(className)) {
    if (!isa_) raiseAssertion("There is no class " + std::string(className));
}

HostObject::~HostObject() {
    // Associated objects may look at this object while they go, and even hang new ones on it.
    while (!associated_.empty()) {
        std::map<std::string, std::any, std::less<>> going;
        std::lock_guard guard(associatedLock_);
        going.swap(associated_);
    }
}

bool HostObject::isKindOf(std::string_view className) const {
    const Class* other = NSClassFromString(className);
    return other && isa_->isSubclassOf(*other);
}

void HostObject::setAssociatedObject(std::string_view key, std::any value) {
    // What was there goes after the lock is free: its destructor may come back here.
    std::lock_guard guard(associatedLock_);
    auto place = associated_.find(key);
    if (place != associated_.end())
        place->second.swap(value);
    else if (value.has_value())
        place = associated_.emplace(std::string(key), std::move(value)).first;
    if (place != associated_.end() && !place->second.has_value()) associated_.erase(place);
}

std::any HostObject::associatedObject(std::string_view key) const {
    std::lock_guard guard(associatedLock_);
    auto found = associated_.find(key);
    return found == associated_.end() ? std::any() : found->second;
}

namespace detail {

void raiseUnrecognised(const std::string& className, const std::string& selector, bool otherType) {
    if (otherType) raiseAssertion("The method " + selector + " of " + className + " has another type than its call");
    raiseAssertion("The class " + className + " has no method " + selector);
}

}  // namespace detail
}  // namespace qs
