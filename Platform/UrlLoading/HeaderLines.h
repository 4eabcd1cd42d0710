#pragma once

#include "Platform/UrlLoading/Transfer.h"

#include <curl/curl.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Platform {

/// The lines that make the transport send exactly these fields (CURLOPT_HTTPHEADER(3)): a list that it reads, in
/// memory that is taken once.
class Transfer::HeaderLines {
public:
    void add(std::string_view name, std::string_view separator, std::string_view value) {
        starts_.push_back(text_.size());
        ((text_ += name) += separator) += value;
        text_ += '\0';
    }
    /// The list; valid until something is added. There must be a line.
    curl_slist* list() {
        nodes_.resize(starts_.size());
        for (std::size_t line = 0; line < nodes_.size(); ++line)
            nodes_[line] = {text_.data() + starts_[line], line + 1 < nodes_.size() ? &nodes_[line + 1] : nullptr};
        return nodes_.data();
    }

private:
    std::string text_;
    std::vector<std::size_t> starts_;
    std::vector<curl_slist> nodes_;
};

} // namespace Platform
