// The class runtime: classes with a name, a superclass and methods that can be added and exchanged while the program
// runs. It is what lets a plug-in put its own code around an operation of the host without the host knowing.
//
// A host class declares each exchangeable operation once, as an Operation (name and type), and adds its code for it.
// Everybody, the host included, calls it through the Operation, so that an exchange takes effect everywhere:
//
//     inline const Operation<void(HostObject* sender)> send_{"send:"};     // in the interface
//     cls.add(send_, [](HostObject& self, HostObject*) { ... });           // in the host
//     send_(composeController, button);                                    // a call; does nothing on a null pointer
//
// Calls are safe from every thread and take one table look-up. Adding and exchanging happen while bundles load.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class Class;
class HostObject;
template <class Signature>
class Operation;

// A method's name, interned: equal names give equal selectors, in every library of the process.
class Selector {
public:
    explicit Selector(std::string_view name);
    const std::string& name() const;
    std::size_t index() const { return index_; }
    friend bool operator==(Selector, Selector) = default;

private:
    std::size_t index_;
};

// The code of a method together with its type. Kept alive by the registry for its whole life, as a call may be under
// way on another thread while methods are exchanged.
class Implementation {
public:
    explicit Implementation(const std::type_info& type) : type_(type) {}
    virtual ~Implementation() = default;
    const std::type_info& type() const { return type_; }

private:
    const std::type_info& type_;
};

template <class R, class Receiver, class... A>
class TypedImplementation : public Implementation {
public:
    using Function = std::function<R(Receiver&, A...)>;
    explicit TypedImplementation(Function f) : Implementation(typeid(Function)), function(std::move(f)) {}
    const Function function;
};

inline constexpr std::string_view kRuntimeErrorDomain = "ClassRuntime";
enum class RuntimeError { UnknownMethod = 1, DifferentTypes = 2 };

// What kind of method a call or an addition is about.
enum class MethodKind { Instance, Class };

class Class {
public:
    ~Class();
    const std::string& name() const { return name_; }
    Class* superclass() const;
    // Methods that this class lacks are then found in `superclass` (which may be null). A loop is an assertion failure.
    void setSuperclass(Class* superclass);
    bool isSubclassOf(const Class& other) const;  // a class is a subclass of itself

    // Adds a method. False, and nothing changed, if this very class (not a superclass) has one of that name.
    bool addMethod(MethodKind kind, Selector selector, std::shared_ptr<const Implementation> implementation);
    std::shared_ptr<const Implementation> method(MethodKind kind, Selector selector) const;  // inherited ones too
    std::vector<Selector> ownMethods(MethodKind kind) const;

    // Exchange the code of two instance methods, or of two class methods. An inherited method is first copied into
    // this class, so that the superclass keeps its own. Fails, changing nothing, with UnknownMethod or DifferentTypes.
    Result<void> jr_swizzleMethod(Selector original, Selector withMethod);
    Result<void> jr_swizzleClassMethod(Selector original, Selector withClassMethod);

    // The code that a call runs now, or null. Lock-free.
    const Implementation* find(MethodKind kind, Selector selector) const;

    // Adds the code of an operation as an instance method (first parameter HostObject&) or class method (Class&).
    template <class R, class... A, class F>
    bool add(const Operation<R(A...)>& operation, F function);
    template <class R, class... A, class F>
    bool addClassMethod(const Operation<R(A...)>& operation, F function);

private:
    friend class ClassRegistry;
    struct Tables;
    Class(class ClassRegistry& registry, std::string name, Class* superclass);
    Result<void> exchange(MethodKind kind, Selector a, Selector b);

    ClassRegistry& registry_;
    std::string name_;
    std::unique_ptr<Tables> tables_;
};

// All classes of one host. One registry is installed at a time; making another (in a test) starts from nothing.
class ClassRegistry {
public:
    ClassRegistry();  // installs itself
    ~ClassRegistry();
    ClassRegistry(const ClassRegistry&) = delete;
    ClassRegistry& operator=(const ClassRegistry&) = delete;
    // The installed one. An assertion failure if there is none.
    static ClassRegistry& current();

    // The class of exactly that name, or null.
    Class* classNamed(std::string_view name) const;
    // An existing class of that name is returned as it is.
    Class& define(std::string_view name, Class* superclass = nullptr);

    // Different for each registry of the process: tells caches that they are of another life.
    std::uint64_t generation() const { return generation_; }

private:
    friend class Class;
    mutable std::mutex lock_;
    std::map<std::string, std::unique_ptr<Class>, std::less<>> classes_;
    std::vector<std::shared_ptr<const void>> retired_;  // what a call under way may still use
    std::uint64_t generation_;
};

// The class of that name, as the platform's runtime finds it: no prefixes, no cache.
Class* NSClassFromString(std::string_view name);
// The class under the name itself, else with "MF" before it, else with "MC": the same class goes by different names in
// different versions of the host. Found ones are cached under the name asked for. Null, and an error line, for none.
// Safe from every thread.
Class* QSClassFromString(std::string_view name);
// Copies all methods of `source` to `target`, class methods first. A method that the target itself has stays, with an
// error line. A null target or source does nothing.
void QSAddClassAsCategory(const Class* source, Class* target);

// An object of the host that a plug-in touches: it has a class, and carries state of others as associated objects.
class HostObject : public std::enable_shared_from_this<HostObject> {
public:
    // An assertion failure when the registry has no class of that name.
    explicit HostObject(std::string_view className);
    virtual ~HostObject();
    HostObject(const HostObject&) = delete;
    HostObject& operator=(const HostObject&) = delete;

    Class& isa() const { return *isa_; }
    bool isKindOf(std::string_view className) const;
    bool respondsTo(Selector selector) const { return isa_->find(MethodKind::Instance, selector) != nullptr; }

    // State that a plug-in hangs on this object: keyed by the getter's selector, kept until replaced or the object
    // goes. Safe from every thread; an empty `any` removes it.
    void setAssociatedObject(std::string_view key, std::any value);
    std::any associatedObject(std::string_view key) const;
    template <class T>
    T associated(std::string_view key, T missing = {}) const {
        std::any value = associatedObject(key);
        const T* held = std::any_cast<T>(&value);
        return held ? *held : missing;
    }

private:
    Class* isa_;
    mutable std::mutex associatedLock_;
    std::map<std::string, std::any, std::less<>> associated_;
};

namespace detail {
[[noreturn]] void raiseUnrecognised(const std::string& className, const std::string& selector, bool otherType);

template <class Function, class Receiver, class... A>
decltype(auto) invoke(const Class& cls, MethodKind kind, Selector selector, Receiver& self, A&&... args) {
    const Implementation* found = cls.find(kind, selector);
    if (!found || found->type() != typeid(typename Function::Function))
        raiseUnrecognised(cls.name(), selector.name(), found != nullptr);
    return static_cast<const Function*>(found)->function(self, std::forward<A>(args)...);
}
}  // namespace detail

// An exchangeable operation: a selector with a type. Calling it runs whatever code the receiver's class now has for it;
// none, or code of another type, is an assertion failure. On a null receiver it does nothing and answers R{}.
template <class R, class... A>
class Operation<R(A...)> {
public:
    using InstanceImplementation = TypedImplementation<R, HostObject, A...>;
    using ClassImplementation = TypedImplementation<R, Class, A...>;

    explicit Operation(std::string_view name) : selector_(name) {}
    Selector selector() const { return selector_; }

    R operator()(HostObject& self, A... args) const {
        return detail::invoke<InstanceImplementation>(self.isa(), MethodKind::Instance, selector_, self,
                                                      std::forward<A>(args)...);
    }
    R operator()(HostObject* self, A... args) const {
        if (!self) return R();
        return (*this)(*self, std::forward<A>(args)...);
    }
    template <class T>
    R operator()(const std::shared_ptr<T>& self, A... args) const {
        return (*this)(static_cast<HostObject*>(self.get()), std::forward<A>(args)...);
    }
    R onClass(Class* cls, A... args) const {
        if (!cls) return R();
        return detail::invoke<ClassImplementation>(*cls, MethodKind::Class, selector_, *cls, std::forward<A>(args)...);
    }
    bool isAnsweredBy(const HostObject& object) const { return object.respondsTo(selector_); }

private:
    Selector selector_;
};

template <class R, class... A, class F>
bool Class::add(const Operation<R(A...)>& operation, F function) {
    return addMethod(MethodKind::Instance, operation.selector(),
                     std::make_shared<TypedImplementation<R, HostObject, A...>>(std::move(function)));
}
template <class R, class... A, class F>
bool Class::addClassMethod(const Operation<R(A...)>& operation, F function) {
    return addMethod(MethodKind::Class, operation.selector(),
                     std::make_shared<TypedImplementation<R, Class, A...>>(std::move(function)));
}

}  // namespace qs
