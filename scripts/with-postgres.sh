#!/usr/bin/env bash
# Runs a command with a throwaway PostgreSQL 15 cluster:
#
#   scripts/with-postgres.sh CMD [ARG...]
#
# The cluster (made by Debian's pg_virtualenv, which removes it afterwards)
# listens on the loopback interface and on a Unix socket in a directory of its
# own. CMD runs with the standard PG* variables set (PGPASSWORD among them)
# and with PM_TEST_POSTGRES_URI naming an empty database "pm_test" over the
# socket; the URI carries no password, libpq takes it from PGPASSWORD. The
# cluster and its directories are removed however CMD ends, and the script
# exits with CMD's exit code; 77 (a skip, to CTest) when PostgreSQL 15 is not
# installed, 2 for no CMD.
set -euo pipefail

if [ "${1:-}" = "--inside" ]; then
  # Inside pg_virtualenv: the cluster runs and the PG* variables are set.
  shift
  createdb pm_test
  export PM_TEST_POSTGRES_URI="postgresql://${PGUSER}@/pm_test?host=${PM_POSTGRES_SOCKET_DIR}&port=${PGPORT}"
  status=0
  "$@" >&3 3>&- || status=$?
  exit "$status"
fi

if [ "$#" -eq 0 ]; then
  echo "usage: $0 CMD [ARG...]" >&2
  exit 2
fi
if ! command -v pg_virtualenv >/dev/null || [ ! -x /usr/lib/postgresql/15/bin/postgres ]; then
  echo "with-postgres: skipped: PostgreSQL 15 is not installed (scripts/install-deps.sh installs it)" >&2
  exit 77
fi

# The socket directory must exist before the cluster starts, and the server
# (user postgres when we run as root) must be able to write it.
socket_dir=$(mktemp -d -t pm-postgres.XXXXXX)
trap 'rm -rf "$socket_dir"' EXIT
chmod 755 "$socket_dir"
if [ "$(id -u)" = 0 ]; then
  chown postgres:postgres "$socket_dir"
fi
export PM_POSTGRES_SOCKET_DIR="$socket_dir"

# A port of its own (pg_virtualenv takes PGPORT), so that the clusters of
# several runs at once (ctest -j, other checkouts) do not all try 5432 on the
# loopback interface.
for _ in $(seq 1 50); do
  PGPORT=$((20000 + RANDOM % 40000))
  if ! (exec 4<>"/dev/tcp/127.0.0.1/$PGPORT") 2>/dev/null; then
    break
  fi
done
export PGPORT

# Password authentication on the socket too: as root, peer authentication
# would refuse us the postgres role. pg_virtualenv's own output (creating and
# dropping the cluster, the server's log when CMD fails) goes to standard
# error, so that standard output is CMD's alone.
status=0
exec 3>&1
pg_virtualenv -t -v 15 \
  -o "unix_socket_directories=$socket_dir" \
  -o "listen_addresses=localhost" \
  -i "--auth-local=scram-sha-256 --auth-host=scram-sha-256" \
  "$0" --inside "$@" >&2 || status=$?
exit "$status"
