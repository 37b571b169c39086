#!/bin/sh
# Installs the Debian packages a make target needs. As root it runs apt-get;
# otherwise it prints the exact apt-get line and fails.
#   scripts/install-deps.sh build|flow|abi|test|bench|fuzz|valgrind|browser
# (build: what configuring and building needs; flow: the open-source iCE40
# flow that make demo runs and the import tests check against; abi: the
# binary interface check and the Debian packages' lintian; test: all of
# that and what the tests run)
set -eu

packages_for() {
    case "$1" in
        build) echo "cmake g++ make pkg-config libgtest-dev libgmock-dev nlohmann-json3-dev libvalijson-dev libkainjow-mustache-dev libcli11-dev libcpp-httplib-dev libmicrohttpd-dev libgumbo-dev" ;;
        flow) echo "yosys nextpnr-ice40" ;;
        test) echo "$(packages_for build) $(packages_for flow) python3 python3-jsonschema chromium chromium-driver python3-selenium man-db nodejs $(packages_for abi)" ;;
        abi) echo "abi-dumper abi-compliance-checker lintian" ;;
        bench) echo "cmake g++ make libbenchmark-dev libsimpleini-dev libinih-dev nlohmann-json3-dev libvalijson-dev libkainjow-mustache-dev pkg-config libmicrohttpd-dev libgumbo-dev" ;;
        fuzz) echo "cmake clang libclang-rt-14-dev nlohmann-json3-dev libvalijson-dev libkainjow-mustache-dev libcli11-dev pkg-config libmicrohttpd-dev libgumbo-dev" ;;
        valgrind) echo "valgrind" ;;
        browser) echo "chromium" ;;
        *) echo "unknown package set: $1" >&2; exit 2 ;;
    esac
}

missing=""
for set in "$@"; do
    for p in $(packages_for "$set"); do
        if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
            case " $missing " in *" $p "*) ;; *) missing="$missing $p" ;; esac
        fi
    done
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" = 0 ]; then
    echo "installing:$missing"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    # shellcheck disable=SC2086
    apt-get install -y -qq --no-install-recommends $missing
else
    echo "missing Debian packages; run:" >&2
    echo "  sudo apt-get install -y$missing" >&2
    exit 1
fi
