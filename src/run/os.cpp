#include "os.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

static const char* APP_VERSION = "9, 0, 9, 0";

int os::GetCPUCount() { return (int)sysconf(_SC_NPROCESSORS_ONLN); }

void os::FormatVersionString(const char* version, CString& str) {
  int v[4] = {0, 0, 0, 0};
  if (sscanf(version, "%d, %d, %d, %d", &v[0], &v[1], &v[2], &v[3]) < 1 || v[0] < 1)
    return;
  if (v[3] == 0)
    str.Format("version %d.%d.%d", v[0], v[1], v[2]);
  else if (v[3] <= 25)
    str.Format("version %d.%d.%d%c", v[0], v[1], v[2], 'a' + v[3] - 1);
  else
    str.Format("version %d.%d.%d (rev. %d)", v[0], v[1], v[2], v[3]);
}

void os::GetAppVersionString(CString& str) { FormatVersionString(APP_VERSION, str); }

void os::SecToString(double seconds, char* out) {
  long total = (long)seconds;
  int s = (int)(total % 60);
  int m = (int)((total / 60) % 60);
  int h = (int)((total / 3600) % 24);
  int d = (int)(total / 86400);
  if (d > 0)
    sprintf(out, "%d days, %d:%d:%d", d, h, m, s);
  else if (h > 0)
    sprintf(out, "%d:%d:%d", h, m, s);
  else
    sprintf(out, "%02d:%02d", m, s);
}

int make_dir(const char* path) {
  char buf[4096];
  size_t n = strlen(path);
  if (n >= sizeof(buf)) {
    errno = ENAMETOOLONG;
    return -1;
  }
  memcpy(buf, path, n + 1);
  for (size_t i = 1; i <= n; i++) {
    if (buf[i] != '/' && buf[i] != 0)
      continue;
    char save = buf[i];
    buf[i] = 0;
    if (access(buf, F_OK) != 0) {
      if (mkdir(buf, 0777) != 0 && access(buf, F_OK) != 0) {
        int err = errno;
        buf[i] = save;
        errno = err;
        return err ? err : -1;
      }
    }
    buf[i] = save;
  }
  return access(path, F_OK) == 0 ? 0 : -1;
}

// ---- CUDA devices through the driver library ------------------------------

#include <dlfcn.h>

std::vector<std::string> os::m_arCUDA_Name;
std::vector<double> os::m_arCUDA_Memory;
void* os::hGetCUDAProcIDDLL = nullptr;
bool os::bCudaDLLLoaded = false, os::bCudaFuncLoaded = false, os::bCudaFuncOk = false;
int os::nCUDADevCount = 0;
os::PFN_cuInit os::cuInit = nullptr;
os::PFN_cuDeviceTotalMem os::cuDeviceTotalMem = nullptr;
os::PFN_cuDeviceGetCount os::cuDeviceGetCount = nullptr;
os::PFN_cuDeviceGetName os::cuDeviceGetName = nullptr;

namespace {

// One driver entry point; false (and the pointer null) when it is missing.
template <typename F> bool LoadCudaSymbol(F& f, const char* szName) {
  dlerror();
  f = (F)dlsym(os::hGetCUDAProcIDDLL, szName);
  return dlerror() == nullptr && f != nullptr;
}

bool s_bCudaTried = false;

} // namespace

int os::GetCUDADeviceCount() {
  if (s_bCudaTried)
    return bCudaFuncOk ? nCUDADevCount : 0;
  s_bCudaTried = true;
  hGetCUDAProcIDDLL = dlopen("libcuda.so", RTLD_LAZY);
  if (!hGetCUDAProcIDDLL)
    hGetCUDAProcIDDLL = dlopen("libcuda.so.1", RTLD_LAZY);
  if (!hGetCUDAProcIDDLL)
    return 0;
  bCudaDLLLoaded = true;
  bool bOk = LoadCudaSymbol(cuInit, "cuInit");
  if (bOk && !LoadCudaSymbol(cuDeviceTotalMem, "cuDeviceTotalMem_v2"))
    bOk = LoadCudaSymbol(cuDeviceTotalMem, "cuDeviceTotalMem");
  bOk = bOk && LoadCudaSymbol(cuDeviceGetCount, "cuDeviceGetCount");
  bOk = bOk && LoadCudaSymbol(cuDeviceGetName, "cuDeviceGetName");
  int n = 0;
  if (bOk) {
    bCudaFuncLoaded = true;
    bOk = cuInit(0) == 0 && cuDeviceGetCount(&n) == 0;
  }
  for (int i = 0; bOk && i < n; i++) {
    size_t nBytes = 0;
    char szName[256] = {0};
    bOk = cuDeviceTotalMem(&nBytes, i) == 0 && cuDeviceGetName(szName, 255, i) == 0;
    if (bOk) {
      m_arCUDA_Name.push_back(szName);
      m_arCUDA_Memory.push_back((double)nBytes / 1048576.0);
    }
  }
  if (bOk) {
    bCudaFuncOk = true;
    nCUDADevCount = n;
  }
  dlclose(hGetCUDAProcIDDLL);
  hGetCUDAProcIDDLL = nullptr;
  return bOk ? n : 0;
}
