# shellcheck shell=sh
# Sourced by the scripts beside it: need_namespaces sets $own_namespaces to the command that runs
# another one in IPC and mount namespaces of its own, as root there. Where the system refuses them it
# says what to do and ends.

need_namespaces() {
  for own_namespaces in 'unshare --ipc --mount' 'unshare --map-root-user --ipc --mount'; do
    # shellcheck disable=SC2086  # words
    ! $own_namespaces mount -t tmpfs tmpfs /var 2>/dev/null || return 0
  done
  cat >&2 <<'END'
This system refuses IPC and mount namespaces. They are needed so that nothing here meets a running engine.
Run this where the following command succeeds:
    unshare --map-root-user --ipc --mount mount -t tmpfs tmpfs /var
As root or as a user of a host, see that sysctl user.max_user_namespaces is not 0 and, where there is one,
kernel.unprivileged_userns_clone is 1. A container needs CAP_SYS_ADMIN (docker run --cap-add SYS_ADMIN) and a
seccomp and AppArmor profile that allows unshare and mount.
END
  exit 1
}
