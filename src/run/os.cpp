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
