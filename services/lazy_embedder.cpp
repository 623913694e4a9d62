#include "services/lazy_embedder.h"

#include <dlfcn.h>
#include <spdlog/spdlog.h>
#include <system_error>
#include <utility>

namespace tolvik {

LazyEmbedder::LazyEmbedder(std::filesystem::path module, std::filesystem::path model)
    : module_(std::move(module)), model_(std::move(model)) {}

LazyEmbedder::~LazyEmbedder() = default;

bool LazyEmbedder::isPresent() const {
    std::error_code error;
    return std::filesystem::exists(module_, error) && std::filesystem::exists(model_ / "model.safetensors", error) &&
           std::filesystem::exists(model_ / "vocab.txt", error);
}

std::optional<std::vector<float>> LazyEmbedder::embed(std::string_view sentence) {
    SentenceEmbedder* embedder = loaded();
    return embedder == nullptr ? std::nullopt : embedder->embed(sentence);
}

SentenceEmbedder* LazyEmbedder::loaded() {
    const std::scoped_lock lock(mutex_);
    if (!std::exchange(tried_, true) && isPresent()) {
        // Never closed: the arithmetic library keeps threads of its own.
        void* module = ::dlopen(module_.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* factory = module == nullptr ? nullptr : ::dlsym(module, kEmbeddingFactoryName);
        if (factory == nullptr) {
            const char* why = ::dlerror();
            spdlog::warn("sentences are not compared by meaning: {}", why == nullptr ? "no factory" : why);
            return nullptr;
        }
        embedder_.reset(reinterpret_cast<EmbeddingFactory*>(factory)(model_.c_str()));
    }
    return embedder_.get();
}

}  // namespace tolvik
