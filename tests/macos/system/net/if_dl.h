#pragma once

#include <cstdint>

struct sockaddr_dl {
  std::uint8_t sdl_len;
  std::uint8_t sdl_family;
  std::uint16_t sdl_index;
  std::uint8_t sdl_type;
  std::uint8_t sdl_nlen;
  std::uint8_t sdl_alen;
  std::uint8_t sdl_slen;
  char sdl_data[12];
};
