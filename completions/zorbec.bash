# Completion of zorbec's command line, for bash. Needs nothing of the bash-completion package.

_zorbec() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} option='' i

  # The option that the word belongs to is the last one before it: --node and --class take several
  # words. In --json=FILE the "=" is a word of its own.
  for ((i = COMP_CWORD - 1; i > 1; i--)); do
    if [[ ${COMP_WORDS[i]} == -* ]]; then
      option=${COMP_WORDS[i]}
      break
    fi
  done
  local words_since=$((COMP_CWORD - i))
  if [[ $word == '=' ]]; then
    word=''
  elif [[ ${COMP_WORDS[COMP_CWORD - 1]} == '=' ]]; then
    words_since=$((words_since - 1))
  fi

  local options='' words='' files=''
  case $COMP_CWORD:$command in
    1:*) options='--version --help' words='check diff explain' ;;
    *:check)
      options='--quiet --max-findings --json --jsonl --node --class --progress --deadline --wait --help'
      words='interfaces multicast all'
      ;;
    *:diff) options='--json --help' files=yes ;;
    *:explain) options='--node --from --model --bundle-scale --help' ;;
  esac

  if [[ $option == --class ]]; then
    words='physical physical-subif bundle bundle-subif bvi gre leak multicast' files=''
  elif [[ $option == --node ]]; then
    words='' files=''
  elif ((words_since == 1)); then
    case $option in
      --json | --jsonl | --from) words='' files=yes ;;
      --model) words='1 2 3 4 5 6 7 8 9' ;;
      --bundle-scale) words='256 512 1024 2048' ;;
      --max-findings | --deadline) return ;;
    esac
  fi

  if [[ $word == -* ]]; then
    words=$options files=''
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  if [[ $files ]]; then
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
    # Only while completing: readline then adds a slash to folders and quotes blanks.
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _zorbec zorbec
