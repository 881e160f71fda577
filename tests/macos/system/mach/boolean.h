#pragma once

using boolean_t = int;
