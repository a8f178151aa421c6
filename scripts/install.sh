# SPDX-License-Identifier: MIT
# Installing below a prefix and removing it again; sourced by ./dev.

installed_list=share/orxaccount/installed-files

# Prints, below the prefix, the list itself, what cmake has installed now, and what an earlier
# installation wrote down: debug files for instance, which this one may not have made again.
list_installed() {
  local prefix=$1 file
  {
    cat build/package/install_manifest.txt
    echo  # The last line of that file has no end.
    if [[ -f $prefix/$installed_list ]]; then cat "$prefix/$installed_list"; fi
    echo "$installed_list"
  } | while read -r file; do
    [[ -z $file ]] || echo "${file#"$prefix/"}"
  done | sort -u
}

# Completions have the name of the program.
is_program_or_library() {
  [[ -f $1 && ! -L $1 && $(head -c 4 "$1" | tr -d '\0') == $'\x7fELF' ]]
}

# The debugger looks for a file of this name beside the program that names it.
install_debug_files() {
  local prefix=$1 installed built
  while read -r installed; do
    is_program_or_library "$prefix/$installed" && [[ $installed != *.debug ]] || continue
    built=$(find build/package -name "$(basename "$installed")" -type f -perm /u+x -print -quit)
    "${as_root[@]}" objcopy --only-keep-debug "$built" "$prefix/$installed.debug"
    "${as_root[@]}" objcopy --remove-section .gnu_debuglink "$prefix/$installed"
    "${as_root[@]}" objcopy --add-gnu-debuglink="$prefix/$installed.debug" "$prefix/$installed"
    echo "$installed.debug" | "${as_root[@]}" tee -a "$prefix/$installed_list" >/dev/null
  done < <(cat "$prefix/$installed_list")
}

# For these two prefixes the loader finds a new library only after its cache is updated.
update_loader() {
  if [[ $1 == /usr || $1 == /usr/local ]]; then "${as_root[@]}" /sbin/ldconfig; fi
}

# As cmake writes it down, without `..` and the like.
absolute() { (cd "$caller_folder" && realpath --canonicalize-missing --no-symlinks "$1"); }

install_to() {
  local with_debug= prefix list as_root=()
  if [[ ${1:-} == --debug ]]; then
    with_debug=1
    shift
  fi
  [[ -n ${1:-} ]] || fail "install takes the folder to install below, for example /usr/local"
  (($# == 1)) || fail "install takes --debug before the folder, and nothing after it"
  prefix=$(absolute "$1")
  can_write "$prefix" || become_root "only root may install below $prefix"
  require_packages "${build_packages[@]}"
  configure package
  build package
  say "installing below $prefix"
  "${as_root[@]}" cmake --install build/package --prefix "$prefix" --strip
  "${as_root[@]}" mkdir -p "$(dirname "$prefix/$installed_list")"
  list=$(list_installed "$prefix")
  echo "$list" | "${as_root[@]}" tee "$prefix/$installed_list" >/dev/null
  [[ -z $with_debug ]] || install_debug_files "$prefix"
  update_loader "$prefix"
}

# Removes what install_to wrote down, and the folders that are empty then.
uninstall_from() {
  local prefix list as_root=() file folder
  [[ -n ${1:-} ]] || fail "uninstall takes the folder that was given to install"
  prefix=$(absolute "$1")
  [[ -f $prefix/$installed_list ]] || fail "nothing was installed below $prefix"
  say "removing what was installed below $prefix"
  can_write "$prefix/$installed_list" || become_root "only root may remove what is below $prefix"
  list=$(<"$prefix/$installed_list")
  while read -r file; do
    "${as_root[@]}" rm -f "$prefix/$file"
  done <<<"$list"
  # Relative, since rmdir -p would go on above the prefix.
  while read -r folder; do
    (cd "$prefix" && "${as_root[@]}" rmdir -p --ignore-fail-on-non-empty "$folder") 2>/dev/null || true
  done < <(sed 's|/[^/]*$||' <<<"$list" | sort -ru)
  "${as_root[@]}" rmdir --ignore-fail-on-non-empty "$prefix"
  update_loader "$prefix"
}
