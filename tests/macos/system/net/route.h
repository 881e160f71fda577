#pragma once

constexpr unsigned char RTM_IFINFO2 = 0x12;
