// The box's recording HTTP server (httppeer, TCP 18080) as tests see it:
// its control port, and its record, one request per connection: method,
// target, headers in order, body and the raw bytes.
#pragma once

#include <json-c/json.h>

#include <strings.h>
#include <string>
#include <utility>
#include <vector>

#include "support/peer_control.h"

namespace phonecore::testing {

struct HttpRecord {
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::string raw;  // cut at 8 KiB, as body
  size_t size = 0;  // the count of raw bytes

  // The value of the first header of that name (any case), or nullptr.
  const std::string* header(const std::string& name) const {
    for (const auto& [n, v] : headers)
      if (strcasecmp(n.c_str(), name.c_str()) == 0) return &v;
    return nullptr;
  }
};

class HttpPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortHttp;
  static constexpr uint16_t kPort = 18080;

  HttpPeer() : PeerControl(kControlPort) {}

  static std::string url(const std::string& path) { return "http://127.0.0.1:18080" + path; }

  // Empties the record once the requests of earlier connections are written
  // down (the peer writes a request down when it has read it, which for a
  // request without a length is 300 ms after its client fell silent), so
  // that none lands in the next test's record.
  bool clear() const {
    settled_log(0);
    return PeerControl::clear();
  }

  // The record once it holds at least n requests (or after about ten seconds).
  std::vector<HttpRecord> requests(size_t n = 1) const {
    std::vector<HttpRecord> out;
    for (const std::string& line : wait_log(n)) out.push_back(parse(line));
    return out;
  }

  static HttpRecord parse(const std::string& line) {
    HttpRecord r;
    json_object* root = json_tokener_parse(line.c_str());
    if (root == nullptr) return r;
    auto text = [root](const char* key) {
      json_object* v = nullptr;
      if (!json_object_object_get_ex(root, key, &v)) return std::string();
      return std::string(json_object_get_string(v), static_cast<size_t>(json_object_get_string_len(v)));
    };
    r.method = text("method");
    r.target = text("target");
    r.body = text("body");
    r.raw = text("raw");
    json_object* size = nullptr;
    if (json_object_object_get_ex(root, "size", &size)) r.size = static_cast<size_t>(json_object_get_int64(size));
    json_object* headers = nullptr;
    if (json_object_object_get_ex(root, "headers", &headers)) {
      for (size_t i = 0; i < json_object_array_length(headers); ++i) {
        json_object* pair = json_object_array_get_idx(headers, i);
        r.headers.emplace_back(json_object_get_string(json_object_array_get_idx(pair, 0)),
                               json_object_get_string(json_object_array_get_idx(pair, 1)));
      }
    }
    json_object_put(root);
    return r;
  }
};

}  // namespace phonecore::testing
