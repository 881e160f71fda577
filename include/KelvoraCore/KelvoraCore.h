#pragma once

// Every public header of KelvoraCore.

#include "KelvoraCore/CPUCoreInfo.h"
#include "KelvoraCore/HIDWrapper.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCRecords.h"
#include "KelvoraCore/SMCWrapper.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"
#include "KelvoraCore/ZDBatteryInfo.h"
#include "KelvoraCore/ZDCPUInfo.h"
#include "KelvoraCore/ZDDiskInfo.h"
#include "KelvoraCore/ZDGPUInfo.h"
#include "KelvoraCore/ZDMemoryInfo.h"
#include "KelvoraCore/ZDModelInfo.h"
#include "KelvoraCore/ZDNetworkInfo.h"
#include "KelvoraCore/ZDOSInfo.h"
#include "KelvoraCore/ZDSystemDevice.h"
#include "KelvoraCore/ZDSystemKitHelper.h"
