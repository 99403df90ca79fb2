# shellcheck shell=bash
# What the scripts share that measure whole programs.

# seconds_of COMMAND...: prints the processor time in seconds that the command takes, which other programs on the machine
# hardly change; fails if the command does.
seconds_of() {
    local TIMEFORMAT='%U %S' times
    if ! times=$({ time "$@" > /dev/null 2>&1 < /dev/null; } 2>&1); then
        echo "This failed: $*" >&2
        return 1
    fi
    awk -v times="$times" 'BEGIN { split(times, t); printf "%.3f\n", t[1] + t[2] }'
}

# per_second COUNT SECONDS
per_second() {
    awk -v count="$1" -v seconds="$2" 'BEGIN { printf "%.0f\n", count / seconds }'
}

# median NUMBER...
median() {
    printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print (v[int((NR + 1) / 2)] + v[int(NR / 2) + 1]) / 2 }'
}

# pictures_in CLIP: how many pictures the demultiplexer finds.
pictures_in() {
    ffprobe -v fatal -select_streams v:0 -count_packets -show_entries stream=nb_read_packets -of default=nk=1:nw=1 "$1" |
        sed -n 1p
}

# make_clip FOLDER NAME ARGUMENT...: runs ffmpeg with the arguments unless the folder has the clip.
make_clip() {
    local folder=$1 name=$2
    shift 2
    if [ ! -e "$folder/$name" ]; then
        echo "Making $name"
        ffmpeg -nostdin -v error -y "$@" "$folder/part-$name" < /dev/null
        mv "$folder/part-$name" "$folder/$name"
    fi
}
