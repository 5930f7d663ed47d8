# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The weights: a crucible on the "internal drive", one on the "drive" Vault, links between them, LM Studio's copy.

make_crucible()
{
    local root=.zyn-crucible vault=Volumes/Vault/zyn-crucible tape=Volumes/Tape/zyn-crucible
    text 202608020915 $root/crucible.toml <<'EOF'
# Where the trainer puts what it makes.
[layout]
final = "3_final"
adapters = "2_adapters"

[drives]
vault = "copies of everything that is served"
tape = "finished models, kept off line"
EOF
    vantor $root
    vantor $vault
    model 202610121640 $root zyn-labs/Vantor-Draft 2 1000000
    model 202607301122 $vault zyn-labs/Vantor-Mini 2 1500000
    model 202605271808 $vault zyn-labs/Vantor-Code 1 1500000
    link $root/models/zyn-labs/Vantor-Mini $vault/models/zyn-labs/Vantor-Mini
    # The drive had this name once; the copy is still on it.
    link $root/models/zyn-labs/Vantor-Code "Volumes/Vault 1/zyn-crucible/models/zyn-labs/Vantor-Code"
    # This drive is not there.
    link $root/models/atlas/Atlas-Embed $tape/models/atlas/Atlas-Embed
    printf '{"prompt": "Name the tallest tree.", "answer": "Coast redwood"}\n' \
        | text 202604211004 $root/eval/facts.jsonl
    make_lm_studio
}

# The last stage of a model, as training leaves it.
model()
{
    local place=$2/models/$3/3_final file
    folder_for "$place"
    "$tools/fetch-weights" model "$3" "$4" "$5" "$stage/$place"
    for file in "$stage/$place"/*; do
        dated "$1" "${file#"$stage/"}"
    done
}

# The served model, the same on every drive that has it.
vantor()
{
    local place=$1/models/zyn-labs/Vantor-7B
    model 202609141028 "$1" zyn-labs/Vantor-7B 3 2000000
    printf 'Started from the public base, revision 18.\n' | text 202608291102 "$place/1_base/NOTES.md"
    bytes 202609020731 "$place/2_adapters/adapters.safetensors" 800000
}

make_lm_studio()
{
    printf '{\n  "downloadsFolder": "~/.lmstudio/models",\n  "developerMode": false\n}\n' \
        | text 202607221953 .lmstudio/settings.json
    folder_for .lmstudio/models/zyn-labs/Vantor-7B-4bit
    "$tools/fetch-weights" model zyn-labs/Vantor-7B 3 2000000 "$stage/.lmstudio/models/zyn-labs/Vantor-7B-4bit"
}
