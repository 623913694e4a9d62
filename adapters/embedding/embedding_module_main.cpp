// The module's one door: programs that never compare sentences do not load what follows.

#include <new>

#include "adapters/embedding/minilm_sentence_embedder.h"

/// A new embedder over the model folder, or null when there is no memory. The caller owns it.
extern "C" [[gnu::visibility("default")]] tolvik::SentenceEmbedder* tolvikMakeSentenceEmbedder(const char* modelFolder);

tolvik::SentenceEmbedder* tolvikMakeSentenceEmbedder(const char* modelFolder) {
    return new (std::nothrow) tolvik::MiniLmSentenceEmbedder(modelFolder);
}
