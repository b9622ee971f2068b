#include "collaborators/user_defaults.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "collaborators/collaborator_state.h"
#include "collaborators/json.h"

namespace veq {

namespace {

bool fail(std::string* error, std::string message) {
  if (error) *error = std::move(message);
  return false;
}

bool blank(const std::string& s) {
  return s.find_first_not_of(" \t\r\n") == std::string::npos;
}

}  // namespace

VEQUserDefaults& VEQUserDefaults::standardUserDefaults() { return VEQCollaboratorState::current().userDefaults(); }

VEQValue VEQUserDefaults::objectForKey(std::string_view key) const { return values_[key]; }

std::string VEQUserDefaults::stringForKey(std::string_view key) const {
  const VEQValue& v = values_[key];
  return v.isText() || v.isNumber() ? v.description() : std::string();
}

bool VEQUserDefaults::boolForKey(std::string_view key) const { return values_[key].boolValue(); }

void VEQUserDefaults::setObject(std::string_view key, VEQValue value) {
  if (value.isNull())
    values_.remove(key);
  else
    values_.set(key, std::move(value));
}

void VEQUserDefaults::removeObjectForKey(std::string_view key) { values_.remove(key); }

void VEQUserDefaults::clear() { values_ = VEQDict(); }

bool VEQUserDefaults::loadFromFile(const std::string& path, std::string* error) {
  std::error_code ec;
  if (!std::filesystem::exists(path, ec) && !ec) {
    clear();
    return true;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) return fail(error, "cannot open user defaults " + path + ": " + std::strerror(errno));
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return fail(error, "cannot read user defaults " + path);
  const std::string content = text.str();
  if (blank(content)) return fail(error, "user defaults " + path + " is empty; it must hold a JSON object, at least {}");
  VEQValue parsed = stringToObject(content);
  if (!parsed.isDict()) {
    return fail(error, "user defaults " + path + " is not a JSON object (malformed, nested deeper than " +
                           std::to_string(kMaxJsonDepth) + " levels, or of another type)");
  }
  values_ = parsed.dict();
  return true;
}

bool VEQUserDefaults::saveToFile(const std::string& path, std::string* error) const {
  const std::string json = objectToJsonString(VEQValue(values_)).value_or("{}");
  const std::string temp = path + ".tmp";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return fail(error, "cannot write user defaults " + temp + ": " + std::strerror(errno));
    out << json << '\n';
    out.close();
    if (!out) return fail(error, "cannot write user defaults " + temp);
  }
  if (std::rename(temp.c_str(), path.c_str()) != 0) {
    const std::string reason = std::strerror(errno);
    std::remove(temp.c_str());
    return fail(error, "cannot replace user defaults " + path + ": " + reason);
  }
  return true;
}

}  // namespace veq
