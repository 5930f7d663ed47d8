// Stands for the download of a model: makes its files, of the size asked for and always with the same bytes for the
// same name. Makes any other large files of the sample too, by a table. Real bytes, so that what the files occupy on
// disk is what they say. Never writes over an existing file.
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

int fail(const std::string& sentence)
{
    std::fputs(("fetch-weights: " + sentence + "\n").c_str(), stderr);
    return 1;
}

// The standard one lives in a header that takes longer to compile than all of this.
std::uint64_t smaller(std::uint64_t one, std::uint64_t other) { return one < other ? one : other; }

// A stream of bytes that its name alone decides.
class Stream
{
public:
    explicit Stream(const std::string& name)
    {
        for (const char character : name) {
            state_ = (state_ ^ static_cast<unsigned char>(character)) * 0x100000001B3U;
        }
        state_ |= 1U;
    }

    void fill(std::vector<std::uint64_t>& words)
    {
        for (std::uint64_t& word : words) {
            state_ ^= state_ << 13U;
            state_ ^= state_ >> 7U;
            state_ ^= state_ << 17U;
            word = state_;
        }
    }

private:
    std::uint64_t state_ = 0xCBF29CE484222325U;
};

bool writeAll(int file, const char* bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t written = write(file, bytes, count);
        if (written < 0) {
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

bool writeStream(int file, const std::string& name, std::uint64_t count)
{
    constexpr std::size_t wordsInPiece = 32768;
    Stream stream(name);
    std::vector<std::uint64_t> piece(wordsInPiece);
    while (count > 0) {
        const std::uint64_t bytes = smaller(count, piece.size() * sizeof(std::uint64_t));
        stream.fill(piece);
        if (!writeAll(file, reinterpret_cast<const char*>(piece.data()), bytes)) {
            return false;
        }
        count -= bytes;
    }
    return true;
}

// `head` and then as many bytes of the stream as the file is to be long. Absent text on success, else one sentence.
std::string makeFile(const std::string& path, const std::string& head, const std::string& name, std::uint64_t length)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (file < 0) {
        return "The file " + path + " could not be made: " + std::strerror(errno) + ".";
    }
    const std::uint64_t rest = length > head.size() ? length - head.size() : 0;
    bool done = writeAll(file, head.data(), head.size()) && writeStream(file, name, rest);
    done = close(file) == 0 && done;
    return done ? "" : "The file " + path + " could not be written: " + std::strerror(errno) + ".";
}

std::string littleEndian(std::uint64_t value)
{
    std::string out;
    for (unsigned shift = 0; shift < 64; shift += 8) {
        out += static_cast<char>((value >> shift) & 0xFFU);
    }
    return out;
}

// The head of a weights file that holds one tensor of bytes in the rest of `length`.
std::string tensorHead(std::uint64_t length, unsigned number)
{
    constexpr std::size_t roomForHeader = 248;
    constexpr std::size_t lengthField = 8;
    const std::string count = std::to_string(length - roomForHeader - lengthField);
    std::string header = R"({"__metadata__":{"format":"mlx"},"model.layers.)" + std::to_string(number)
        + R"(.weight":{"dtype":"U8","shape":[)" + count + R"(],"data_offsets":[0,)" + count + "]}}";
    header.resize(roomForHeader, ' ');
    return littleEndian(roomForHeader) + header;
}

std::string shardName(unsigned number, unsigned shards)
{
    constexpr std::size_t digits = 5;
    const auto padded = [=](unsigned value) {
        const std::string text = std::to_string(value);
        return std::string(digits - smaller(digits, text.size()), '0') + text;
    };
    return "model-" + padded(number) + "-of-" + padded(shards) + ".safetensors";
}

std::string indexOf(unsigned shards, std::uint64_t shardBytes)
{
    std::string map;
    for (unsigned number = 1; number <= shards; ++number) {
        map += (number == 1 ? "" : ",\n") + std::string("    \"model.layers.") + std::to_string(number)
            + ".weight\": \"" + shardName(number, shards) + "\"";
    }
    return "{\n  \"metadata\": {\"total_size\": " + std::to_string(shardBytes * shards) + "},\n  \"weight_map\": {\n"
        + map + "\n  }\n}\n";
}

std::string configuration(unsigned shards)
{
    return "{\n  \"architectures\": [\"VantorForCausalLM\"],\n  \"model_type\": \"vantor\",\n  \"hidden_size\": 3584,\n"
           "  \"num_hidden_layers\": "
        + std::to_string(shards)
        + ",\n  \"vocab_size\": 9000,\n  \"quantization\": {\"group_size\": 64, \"bits\": 4}\n}\n";
}

std::string tokenizer()
{
    constexpr unsigned tokens = 9000;
    std::string out = "{\n  \"version\": \"1.0\",\n  \"model\": {\"type\": \"BPE\", \"vocab\": {\n";
    for (unsigned token = 0; token < tokens; ++token) {
        out += "    \"t" + std::to_string(token) + "\": " + std::to_string(token) + (token + 1 < tokens ? ",\n" : "\n");
    }
    return out + "  }}\n}\n";
}

int makeModel(const std::string& name, unsigned shards, std::uint64_t shardBytes, const std::string& folder)
{
    constexpr std::uint64_t smallestShard = 512;
    if (shards == 0 || shardBytes < smallestShard) {
        return fail("A model has at least one weights file of at least 512 bytes.");
    }
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
        return fail("The folder " + folder + " could not be made: " + std::strerror(errno) + ".");
    }
    std::string error = makeFile(folder + "/config.json", configuration(shards), name, 0);
    if (error.empty()) {
        error = makeFile(folder + "/tokenizer.json", tokenizer(), name, 0);
    }
    if (error.empty()) {
        error = makeFile(folder + "/model.safetensors.index.json", indexOf(shards, shardBytes), name, 0);
    }
    for (unsigned number = 1; number <= shards && error.empty(); ++number) {
        const std::string file = "/" + shardName(number, shards);
        error = makeFile(folder + file, tensorHead(shardBytes, number), name + file, shardBytes);
    }
    return error.empty() ? 0 : fail(error);
}

// Digits alone; 0 for anything else.
std::uint64_t numberFrom(const std::string& text)
{
    constexpr std::size_t longest = 12;
    if (text.empty() || text.size() > longest || text.find_first_not_of("0123456789") != std::string::npos) {
        return 0;
    }
    return std::strtoull(text.c_str(), nullptr, 10);
}

// A local time written as YYYYMMDDhhmm.
std::time_t timeFrom(const std::string& text)
{
    constexpr int firstYear = 1900;
    const auto part = [&text](std::size_t from, std::size_t length) {
        return text.size() < from + length ? 0 : static_cast<int>(numberFrom(text.substr(from, length)));
    };
    std::tm local {};
    local.tm_year = part(0, 4) - firstYear;
    local.tm_mon = part(4, 2) - 1;
    local.tm_mday = part(6, 2);
    local.tm_hour = part(8, 2);
    local.tm_min = part(10, 2);
    local.tm_isdst = -1;
    return std::mktime(&local);
}

void makeFoldersAbove(const std::string& path)
{
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        mkdir(path.substr(0, end).c_str(), 0755);
    }
}

// One line of a table: a time, a count of bytes or "-" for a file that is there already, and the file's place.
std::string makeEntry(const std::string& line, const std::string& folder)
{
    const std::size_t first = line.find(' ');
    const std::size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
    if (second == std::string::npos) {
        return "The table has a line that is not a time, a size and a place: " + line;
    }
    const std::string size = line.substr(first + 1, second - first - 1);
    const std::string place = line.substr(second + 1);
    const std::string path = folder + "/" + place;
    if (size != "-") {
        makeFoldersAbove(path);
        const std::string error = makeFile(path, "", place.substr(place.rfind('/') + 1), numberFrom(size));
        if (!error.empty()) {
            return error;
        }
    }
    timespec time {};
    time.tv_sec = timeFrom(line.substr(0, first));
    const std::array<timespec, 2> times {time, time};
    return utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0
        ? ""
        : "The time of " + path + " could not be set: " + std::strerror(errno) + ".";
}

// Standard input to its end, line by line.
int makeTable(const std::string& folder)
{
    std::string line;
    for (int character = std::getchar(); character != EOF; character = std::getchar()) {
        if (character != '\n') {
            line += static_cast<char>(character);
            continue;
        }
        const std::string error = makeEntry(line, folder);
        if (!error.empty()) {
            return fail(error);
        }
        line.clear();
    }
    return 0;
}

} // namespace

int main(int count, char** words)
{
    const std::vector<std::string> arguments(words + 1, words + count);
    if (arguments.size() == 5 && arguments[0] == "model") {
        return makeModel(
            arguments[1], static_cast<unsigned>(numberFrom(arguments[2])), numberFrom(arguments[3]), arguments[4]);
    }
    if (arguments.size() == 2 && arguments[0] == "table") {
        return makeTable(arguments[1]);
    }
    std::fputs("usage: fetch-weights model NAME FILES BYTES_PER_FILE FOLDER\n"
               "       fetch-weights table FOLDER <TABLE\n",
               stderr);
    return 2;
}
