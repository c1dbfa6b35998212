#include "utility_manager/catalogue/icon_data_uri.h"

#include <array>

#include "utility_manager/platform/paths.h"
#include "utility_manager/values/base64.h"
#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

struct MimeType {
  std::string_view extension;
  std::string_view name;
};

constexpr std::array<MimeType, 7> mime_types = {{
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".jpeg", "image/jpeg"},
    {".gif", "image/gif"},
    {".svg", "image/svg+xml"},
    {".ico", "image/x-icon"},
    {".webp", "image/webp"},
}};

std::string_view mime_type_of(std::string_view path) {
  const auto extension = values::lower_case(platform::extension(path));
  for (const auto& type : mime_types) {
    if (type.extension == extension) return type.name;
  }
  return "image/png";
}

}  // namespace

std::string icon_data_uri(std::string_view path, std::string_view bytes) {
  std::string uri = "data:";
  uri += mime_type_of(path);
  uri += ";base64,";
  values::append_base64(uri, bytes);
  return uri;
}

}  // namespace utility_manager
