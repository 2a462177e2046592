// Puts files of /appconfigs back to their factory state when it goes out of
// scope, as the box's factory reset made them: NAME from
// /customer/appconfigs/NAME, and etc/NAME from /customer/etc/NAME. A file
// without a factory copy is removed.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace phonecore::testing {

// The files one phone.cfg item may read and write: those of an account
// item, and those of the whole import (the network's four besides).
inline constexpr std::string_view kItemFiles[] = {"voip.cfg",
                                                  "default/voiplist.cfg",
                                                  "default/function.cfg",
                                                  "default/settinglist.cfg",
                                                  "system.cfg",
                                                  "default/addresslist.cfg",
                                                  "hal.cfg",
                                                  "default/programing_key.cfg"};
inline constexpr std::string_view kImportFiles[] = {"network.cfg",
                                                    "tr069.cfg",
                                                    "default/internet.cfg",
                                                    "status.cfg",
                                                    "voip.cfg",
                                                    "default/voiplist.cfg",
                                                    "default/function.cfg",
                                                    "default/settinglist.cfg",
                                                    "system.cfg",
                                                    "default/addresslist.cfg",
                                                    "hal.cfg",
                                                    "default/programing_key.cfg"};

class FactoryFiles {
 public:
  // Names below /appconfigs: "hal.cfg", "default/dss.cfg", "etc/webauth.cfg".
  FactoryFiles(std::initializer_list<std::string_view> names) : names_(names.begin(), names.end()) {}
  explicit FactoryFiles(std::span<const std::string_view> names) : names_(names.begin(), names.end()) {}
  ~FactoryFiles() { restore(); }
  FactoryFiles(const FactoryFiles&) = delete;
  FactoryFiles& operator=(const FactoryFiles&) = delete;

  static std::string factory_path(std::string_view name) {
    return name.starts_with("etc/") ? "/customer/" + std::string(name) : "/customer/appconfigs/" + std::string(name);
  }

  // Back to the factory state now (and again at the end); false when a
  // file could not be put back.
  bool restore() const {
    namespace fs = std::filesystem;
    bool ok = true;
    for (const std::string& name : names_) {
      const fs::path target = "/appconfigs/" + name;
      const fs::path source = factory_path(name);
      std::error_code ec;
      if (!fs::exists(source, ec)) {
        fs::remove(target, ec);
        ok = ok && !fs::exists(target, ec);
        continue;
      }
      fs::create_directories(target.parent_path(), ec);
      ok = fs::copy_file(source, target, fs::copy_options::overwrite_existing, ec) && ok;
    }
    return ok;
  }

 private:
  std::vector<std::string> names_;
};

}  // namespace phonecore::testing
