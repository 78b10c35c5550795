#!/usr/bin/env bash
# The peers the benchmarks compare with, from Debian's packages: oneTBB for the job lists,
# PhysFS and libzip for archive reads, libdeflate for inflate. The benchmarks build without
# them and leave those rows out; the tests never need them.
set -euo pipefail
packages=(libtbb-dev libphysfs-dev libzip-dev libdeflate-dev)
if ! dpkg -s "${packages[@]}" >/dev/null 2>&1; then
  apt-get update -qq && apt-get install -y -qq "${packages[@]}"
fi
