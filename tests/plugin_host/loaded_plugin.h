// Loads libveltrane.so the way the host framework does: dlopen, then the one
// entry point RegisterComponents; everything else is reached through the
// records and function tables the library hands out.
#ifndef VELTRANE_TESTS_PLUGIN_HOST_LOADED_PLUGIN_H
#define VELTRANE_TESTS_PLUGIN_HOST_LOADED_PLUGIN_H

#include <dlfcn.h>

#include <string>

#include "veltrane/host.h"

namespace veltrane::test {

class LoadedPlugin {
public:
    using RegisterFunction = int32_t (*)(IComponentRegistrar*);

    explicit LoadedPlugin(const char* path) {
        handle_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (handle_ == nullptr) {
            error_ = dlerror();
            return;
        }
        registerComponents_ =
            reinterpret_cast<RegisterFunction>(dlsym(handle_, "RegisterComponents"));
        if (registerComponents_ == nullptr) error_ = "RegisterComponents not found";
    }
    ~LoadedPlugin() {
        if (handle_ != nullptr) dlclose(handle_);
    }
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;

    bool ok() const { return registerComponents_ != nullptr; }
    const std::string& error() const { return error_; }
    int32_t RegisterComponents(IComponentRegistrar* registrar) const {
        return registerComponents_(registrar);
    }

private:
    void* handle_ = nullptr;
    RegisterFunction registerComponents_ = nullptr;
    std::string error_;
};

}  // namespace veltrane::test

#endif
