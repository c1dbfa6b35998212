#include "platform/random_uuid.h"

#include <uuid/uuid.h>

namespace platform {

std::string random_uuid() {
  uuid_t bytes;
  ::uuid_generate_random(bytes);
  char text[UUID_STR_LEN];
  ::uuid_unparse_lower(bytes, text);
  return text;
}

}  // namespace platform
