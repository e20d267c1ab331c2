#pragma once

// What is used of the Objective-C runtime, declared as its documentation has it, and found when the program runs.
// Messages are sent through the one function that the runtime has for all of them, under the type of the method.

namespace KestrelCore::ObjectiveC {

using Object = void*;
using Selector = void*;

/// Whether the runtime and Foundation are there. Without them every function below gives nothing.
[[nodiscard]] bool isThere();

/// The class of that name, which is an object too; null where there is none.
[[nodiscard]] Object classNamed(const char* name);
[[nodiscard]] Selector selectorNamed(const char* name);

/// The runtime's function for messages; null where there is no runtime.
[[nodiscard]] void (*messageFunction())();

/// Sends a message whose method has exactly these types: numbers, enumerations and pointers. What a null object is sent
/// gives a value of zeros, and so does everything without the runtime. An exception of the language's own would end the
/// process, so only methods are called that throw none.
template <typename Result, typename... Arguments>
Result send(Object receiver, const char* selector, Arguments... arguments) {
    using Method = Result (*)(Object, Selector, Arguments...);
    if (receiver == nullptr || messageFunction() == nullptr) return Result();
    return reinterpret_cast<Method>(messageFunction())(receiver, selectorNamed(selector), arguments...);
}

/// Keeps what methods give without handing it over, until it goes out of scope: one around every use of the runtime.
class AutoreleasePool {
public:
    AutoreleasePool();
    ~AutoreleasePool();
    AutoreleasePool(const AutoreleasePool&) = delete;
    AutoreleasePool& operator=(const AutoreleasePool&) = delete;

private:
    void* pool_;
};

}  // namespace KestrelCore::ObjectiveC
