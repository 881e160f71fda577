#include "KelvoraCore/KVFanGuardian.h"

int main() { return kelvora::KVFanGuardian::run(); }
