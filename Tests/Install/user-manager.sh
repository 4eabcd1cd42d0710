# For scripts that need a user's service manager, and a journal, which a machine for tests seldom runs: a real manager of
# an account that exists while the script runs, with an empty /run, in namespaces of its own.
#
# A script calls `enter_namespaces "$@"` first, which runs it again inside; then it is root there, has $account and its
# home in $home, and calls `start_user_manager NAME=VALUE...`, with variables of the manager's environment, and
# `as_user COMMAND...`. Where $system is set before, that folder holds a system of its own, and is the root inside.

account=quenmark-test
home=/run/home/$account
runtime="" # XDG_RUNTIME_DIR
variables=()
[ -n "${system+set}" ] || system=""

# A test that cannot run ends with the status that ctest(1) reports as skipped.
skip() {
  echo "SKIPPED: $*" >&2
  exit 77
}

# The folders in which control groups are made, for cgroup v2, for v1, and where systemd uses both.
group_roots() {
  local folder
  for folder in /sys/fs/cgroup /sys/fs/cgroup/unified /sys/fs/cgroup/systemd; do
    [ ! -f "$folder/cgroup.procs" ] || echo "$folder"
  done
}

enter_namespaces() {
  if [ "${1-}" = --inside ]; then
    uid="$2" group="$3"
    prepare_namespaces
    return
  fi
  [ "$(id -u)" = 0 ] || skip "only root may make the namespaces and the account"
  local program
  for program in /lib/systemd/systemd /lib/systemd/systemd-journald /usr/lib/systemd/user/dbus.socket; do
    [ -e "$program" ] || skip "$program is not installed"
  done
  [ -n "$system" ] || [ -s /etc/machine-id ] || skip "the journal needs an /etc/machine-id"
  unshare -m -p -f --mount-proc true 2>/dev/null || skip "this machine gives no namespaces"

  local uid=59999 root status=0
  while getent passwd "$uid" >/dev/null || getent group "$uid" >/dev/null; do uid=$((uid - 1)); done
  setpriv --reuid "$uid" --regid "$uid" --clear-groups unshare -U true 2>/dev/null ||
    skip "users get no user namespaces here"
  # The journal tells a user's units by the names of their control groups.
  group="quenmark-test-$$.slice"
  trap 'for root in $(group_roots); do
    [ ! -d "$root/$group" ] || find "$root/$group" -depth -type d -exec rmdir {} \; 2>/dev/null || true
  done' EXIT
  for root in $(group_roots); do
    mkdir -p "$root/$group/user@$uid.service" 2>/dev/null || skip "no control group can be made in $root"
    chown -R "$uid:$uid" "$root/$group/user@$uid.service"
  done
  [ -n "$(group_roots)" ] || skip "there are no control groups"
  unshare -m -p -f --mount-proc --kill-child "$0" --inside "$uid" "$group" "$@" || status=$?
  exit "$status"
}

# pivot_root(2): a process whose root was changed by chroot(2) gets no user namespace.
enter_system() {
  tr -d - </proc/sys/kernel/random/uuid >"$system/etc/machine-id"
  mount --bind "$system" "$system"
  cd "$system"
  mount --rbind /sys sys
  mount --rbind /dev dev
  mount -t proc proc proc
  pivot_root . .
  umount -l .
  cd /
}

prepare_namespaces() {
  [ -z "$system" ] || enter_system
  runtime="/run/user/$uid"
  variables=("HOME=$home" "USER=$account" "LOGNAME=$account" SHELL=/bin/bash LANG=C.UTF-8 PATH=/usr/bin:/bin
    "XDG_RUNTIME_DIR=$runtime")
  mount -t tmpfs -o mode=755 tmpfs /run
  mount -t tmpfs -o mode=755 tmpfs /var/log
  # The system's own manager makes these. In unit-root the mounts of a unit are gathered (226/NAMESPACE without).
  mkdir -p /run/systemd/{system,journald.conf.d,journal} /var/log/journal /run/user /run/home
  mkdir -m 700 /run/systemd/unit-root
  install -d -m 700 -o "$uid" -g "$uid" "$runtime" "$home"

  local file
  for file in passwd group; do
    cp "/etc/$file" "/run/$file"
    mount --bind "/run/$file" "/etc/$file"
  done
  echo "$account:x:$uid:$uid::$home:/bin/bash" >>/etc/passwd
  echo "$account:x:$uid:" >>/etc/group

  # Kept on "disk", so that every user has a journal; the kernel's messages and its auditing are left alone.
  printf '[Journal]\nStorage=persistent\nReadKMsg=no\nAudit=\nRateLimitBurst=0\n' >/run/systemd/journald.conf.d/test.conf
  touch /run/systemd/journal/flushed
  /lib/systemd/systemd-journald 2>/run/journald.log &
  wait_for 20 test -S /run/systemd/journal/socket || { cat /run/journald.log; fail "the journal does not start"; }
}

start_user_manager() {
  variables+=("$@")
  (
    local root
    for root in $(group_roots); do echo 0 >"$root/$group/user@$uid.service/cgroup.procs"; done
    as_user env SYSTEMD_LOG_TARGET=journal /lib/systemd/systemd --user
  ) >/run/manager.log 2>&1 &
  wait_for 20 test -S "$runtime/bus" || { cat /run/manager.log; fail "the service manager does not start"; }
}

as_user() {
  (cd "$home" && exec setpriv --reuid "$uid" --regid "$uid" --clear-groups env -i "${variables[@]}" "$@")
}

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# wait_for SECONDS COMMAND...: runs the command until it succeeds.
wait_for() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    read -r -t 0.05 _ <> <(:) || true
  done
}
