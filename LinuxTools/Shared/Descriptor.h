#pragma once

namespace LinuxTools
{

// An open file descriptor, closed at the end of its life.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor)
        : descriptor_(descriptor)
    {
    }
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

    // Closes it now; false with errno when what was written could not be kept.
    bool close();

private:
    int descriptor_ = -1;
};

} // namespace LinuxTools
