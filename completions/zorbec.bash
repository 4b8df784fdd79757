# Completes the command line of zorbec, for bash. The package bash-completion is not needed.

_zorbec() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  # bash splits --json=FILE into three words; the "=" is one of them.
  if [[ $word == '=' ]]; then
    word=''
  elif [[ $previous == '=' ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  local options='' words='' files=''
  case $COMP_CWORD:${COMP_WORDS[1]} in
    1:*) options='--version --help' words='check diff explain' ;;
    *:check)
      options='--quiet --max-findings --json --jsonl --node --class --progress --deadline --wait --help'
      words='interfaces multicast all'
      ;;
    *:diff) options='--json --help' files=yes ;;
    *:explain) options='--node --from --model --bundle-scale --help' ;;
  esac

  case $previous in
    --json | --jsonl | --from) words='' files=yes ;;
    --class) words='physical physical-subif bundle bundle-subif bvi gre leak multicast' ;;
    --model) words='1 2 3 4 5 6 7 8 9' ;;
    --bundle-scale) words='256 512 1024 2048' ;;
    --node | --max-findings | --deadline) words='' ;;
  esac

  if [[ $word == -* ]]; then
    words=$options files=''
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  if [[ $files ]]; then
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
    # With this, readline adds a slash to folders and quotes blanks. Outside of a completion it fails, which
    # does not matter.
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _zorbec zorbec
