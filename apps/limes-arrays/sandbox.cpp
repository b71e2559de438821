#include "apps/limes-arrays/sandbox.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "apps/limes-arrays/array_source.h"

namespace limes::arrays {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kMachine = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t kMachine = AUDIT_ARCH_AARCH64;
#else
constexpr std::uint32_t kMachine = 0;
#endif

constexpr int kCalls[] = {
    __NR_read,         __NR_pread64,       __NR_write,          __NR_writev,
    __NR_lseek,        __NR_fstat,         __NR_newfstatat,     __NR_close,
    __NR_mmap,         __NR_munmap,        __NR_mremap,         __NR_mprotect,
    __NR_brk,          __NR_madvise,       __NR_futex,          __NR_getrandom,
    __NR_gettimeofday, __NR_clock_gettime, __NR_getpid,         __NR_gettid,
    __NR_rt_sigreturn, __NR_rt_sigaction,  __NR_rt_sigprocmask, __NR_sigaltstack,
    __NR_tgkill,       __NR_exit,          __NR_exit_group,     __NR_sched_yield,
    __NR_fcntl,        __NR_flock,
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  ///< lays out far more than it uses, asks in ways of its own
#else
constexpr bool kSanitized = false;
#endif

/// Until the file is open.
constexpr int kOpeningCalls[] = {
    __NR_openat,   __NR_prctl, __NR_readlinkat, __NR_getcwd,
#ifdef __NR_readlink
    __NR_readlink,
#endif
};

[[noreturn]] void Fail(const char* what) {
  throw CFault("is not read, as the system refuses to confine the process that would (" +
               std::string(what) + ": " + std::strerror(errno) + ")");
}

void SetLimit(decltype(RLIMIT_AS) what, rlim_t most) {
  rlimit limit{};
  if (getrlimit(what, &limit) != 0) {
    Fail("limits");
  }
  limit = {std::min(limit.rlim_cur, most), std::min(limit.rlim_max, most)};
  if (setrlimit(what, &limit) != 0) {
    Fail("limits");
  }
}

}  // namespace

void LimitResources(std::uint64_t fileBytes) {
  constexpr rlim_t kMemory = rlim_t{2} << 30;
  constexpr rlim_t kSeconds = 60;
  constexpr rlim_t kBytesPerSecond = rlim_t{4} << 20;
  if (!kSanitized) {
    SetLimit(RLIMIT_AS, kMemory);
  }
  SetLimit(RLIMIT_CPU, kSeconds + fileBytes / kBytesPerSecond);
  SetLimit(RLIMIT_CORE, 0);
  SetLimit(RLIMIT_FSIZE, 0);
  SetLimit(RLIMIT_NPROC, 0);
}

void LimitCalls(bool mayOpen) {
  if (kSanitized) {
    return;
  }
  prctl(PR_SET_DUMPABLE, 0);
  if (kMachine == 0) {
    return;
  }
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kMachine, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
  const auto allow = [&filter](int call) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  };
  for (const int call : kCalls) {
    allow(call);
  }
  if (mayOpen) {
    for (const int call : kOpeningCalls) {
      allow(call);
    }
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  // Only kernels and emulators without seccomp refuse it; containers let a process confine itself.
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    Fail("seccomp");
  }
}

}  // namespace limes::arrays
