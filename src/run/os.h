// Small operating-system helpers.
#pragma once
#include "CString.h"

#include <string>
#include <vector>

namespace os {
int GetCPUCount();
inline bool isApp64() { return true; }
// "version major.minor.patch" with the revision as a letter or "(rev. n)".
void GetAppVersionString(CString& str);
// Parses a version text "a, b, c, d" into the string as above.
void FormatVersionString(const char* version, CString& str);
// "mm:ss", "h:m:s" or "d days, h:m:s".
void SecToString(double seconds, char* out);

// CUDA devices as the driver library (libcuda.so, opened by name) reports
// them; filled once a process by GetCUDADeviceCount.
extern std::vector<std::string> m_arCUDA_Name; // by device number
extern std::vector<double> m_arCUDA_Memory;    // total memory in MB
extern void* hGetCUDAProcIDDLL;
extern bool bCudaDLLLoaded, bCudaFuncLoaded, bCudaFuncOk;
extern int nCUDADevCount;
typedef int (*PFN_cuInit)(unsigned int);
typedef int (*PFN_cuDeviceTotalMem)(size_t*, int);
typedef int (*PFN_cuDeviceGetCount)(int*);
typedef int (*PFN_cuDeviceGetName)(char*, int, int);
extern PFN_cuInit cuInit;
extern PFN_cuDeviceTotalMem cuDeviceTotalMem;
extern PFN_cuDeviceGetCount cuDeviceGetCount;
extern PFN_cuDeviceGetName cuDeviceGetName;
// Devices the driver sees; 0 without a driver or when anything fails.
int GetCUDADeviceCount();
} // namespace os

// Creates every missing directory along the path; 0 when the path exists at the end.
int make_dir(const char* path);
