# SPDX-License-Identifier: MIT
# Installing below a prefix and removing it again; sourced by ./dev.

installed_list=share/orxaccount/installed-files

# The debugger looks for a file of this name beside the program that names it.
install_debug_files() {
  local prefix=$1 installed built
  while read -r installed; do
    built=$(find build/package -name "$(basename "$installed")" -type f -perm /u+x | head -n 1)
    [[ -n $built && ! -L $prefix/$installed ]] || continue
    "${as_root[@]}" objcopy --only-keep-debug "$built" "$prefix/$installed.debug"
    "${as_root[@]}" objcopy --remove-section .gnu_debuglink "$prefix/$installed"
    "${as_root[@]}" objcopy --add-gnu-debuglink="$prefix/$installed.debug" "$prefix/$installed"
    echo "$installed.debug" | "${as_root[@]}" tee -a "$prefix/$installed_list" >/dev/null
  done < <("${as_root[@]}" cat "$prefix/$installed_list")
}

# For these two prefixes the loader finds a new library only after its cache is updated.
update_loader() {
  if [[ $1 == /usr || $1 == /usr/local ]]; then "${as_root[@]}" /sbin/ldconfig; fi
}

absolute() {
  if [[ $1 == /* ]]; then echo "${1%/}"; else echo "$caller_folder/${1%/}"; fi
}

install_to() {
  local with_debug= prefix as_root=()
  if [[ ${1:-} == --debug ]]; then
    with_debug=1
    shift
  fi
  [[ -n ${1:-} ]] || fail "install takes the folder to install below, for example /usr/local"
  prefix=$(absolute "$1")
  require_packages "${build_packages[@]}"
  configure package
  build package
  say "installing below $prefix"
  can_write "$prefix" || as_root=(sudo)
  "${as_root[@]}" cmake --install build/package --prefix "$prefix" --strip
  "${as_root[@]}" mkdir -p "$(dirname "$prefix/$installed_list")"
  sed "s|^$prefix/||" build/package/install_manifest.txt |
    "${as_root[@]}" tee "$prefix/$installed_list" >/dev/null
  [[ -z $with_debug ]] || install_debug_files "$prefix"
  update_loader "$prefix"
}

# Removes what install_to wrote down, and the folders that are empty then.
uninstall_from() {
  local prefix as_root=() file folder
  [[ -n ${1:-} ]] || fail "uninstall takes the folder that was given to install"
  prefix=$(absolute "$1")
  [[ -f $prefix/$installed_list ]] || fail "nothing was installed below $prefix"
  say "removing what was installed below $prefix"
  can_write "$prefix/$installed_list" || as_root=(sudo)
  while read -r file; do
    "${as_root[@]}" rm -f "$prefix/$file"
  done <"$prefix/$installed_list"
  sed 's|/[^/]*$||' "$prefix/$installed_list" | sort -ru | while read -r folder; do
    "${as_root[@]}" rmdir -p --ignore-fail-on-non-empty "$prefix/$folder" 2>/dev/null || true
  done
  "${as_root[@]}" rm -f "$prefix/$installed_list"
  "${as_root[@]}" rmdir -p --ignore-fail-on-non-empty "$(dirname "$prefix/$installed_list")" || true
  update_loader "$prefix"
}
