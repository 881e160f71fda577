#pragma once

#include <cstdint>

#pragma pack(push, 4)
struct if_data64 {
  std::uint8_t ifi_head[16];
  std::uint64_t ifi_baudrate;
  std::uint64_t ifi_packets[5];
  std::uint64_t ifi_ibytes;
  std::uint64_t ifi_obytes;
  std::uint8_t ifi_tail[48];
};
struct if_msghdr2 {
  std::uint16_t ifm_msglen;
  std::uint8_t ifm_version;
  std::uint8_t ifm_type;
  int ifm_addrs;
  int ifm_flags;
  std::uint16_t ifm_index;
  int ifm_snd_len;
  int ifm_snd_maxlen;
  int ifm_snd_drops;
  int ifm_timer;
  if_data64 ifm_data;
};
#pragma pack(pop)
