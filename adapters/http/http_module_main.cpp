// The module's one door: programs that send no request do not load what follows.

#include <new>

#include "adapters/http/curl_http_client.h"

/// A new client on the loop, which outlives it, or null when there is no memory. The caller owns it.
extern "C" [[gnu::visibility("default")]] tolvik::HttpClient* tolvikMakeHttpClient(tolvik::MainLoop* loop);

tolvik::HttpClient* tolvikMakeHttpClient(tolvik::MainLoop* loop) {
    return new (std::nothrow) tolvik::CurlHttpClient(*loop);
}
