// Decoded name/value pairs where the first occurrence of a name wins.
#ifndef VORN_PLATFORM_PARAM_LIST_H
#define VORN_PLATFORM_PARAM_LIST_H

#include <string>
#include <unordered_map>

namespace vorn {

class ParamList {
public:
    // Keeps the pair unless the name is already present; true when kept.
    bool Add(std::string name, std::string value)
    {
        return pairs_.emplace(std::move(name), std::move(value)).second;
    }
    // The value of name, or nullptr.
    const char* Find(const char* name) const
    {
        const auto it = pairs_.find(name);
        return it == pairs_.end() ? nullptr : it->second.c_str();
    }
    void Clear() { pairs_.clear(); }
    size_t Size() const { return pairs_.size(); }

private:
    std::unordered_map<std::string, std::string> pairs_;
};

}  // namespace vorn

#endif
