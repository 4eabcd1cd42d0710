#pragma once

#include <curl/curl.h>

#include <memory>

namespace Platform {

template <auto release>
struct CurlDeleter {
    template <class Object>
    void operator()(Object* object) const noexcept {
        release(object);
    }
};

/// Owning pointers to libcurl's objects.
using CurlMultiHandle = std::unique_ptr<CURLM, CurlDeleter<curl_multi_cleanup>>;
/// One that was added to a multi handle must be removed from it first (curl_multi_remove_handle(3)).
using CurlEasyHandle = std::unique_ptr<CURL, CurlDeleter<curl_easy_cleanup>>;
using CurlUrl = std::unique_ptr<CURLU, CurlDeleter<curl_url_cleanup>>;
using CurlList = std::unique_ptr<curl_slist, CurlDeleter<curl_slist_free_all>>;

} // namespace Platform
