// A small design for the flow demo: a free-running counter shows its top
// bits on the LEDs, a 16-bit LFSR makes a byte stream that a UART
// transmitter sends at 115200 baud, and an SPI-style shift register in its
// own clock domain (spi_sck) echoes what it receives. A few hundred cells
// of an iCE40 HX1K; two clocks, so the timing report has two domains.
module top (
    input  wire       clk,       // 12 MHz oscillator
    input  wire       spi_sck,   // an external clock
    input  wire       spi_mosi,
    output reg        spi_miso,
    output wire       uart_tx,
    output wire [4:0] led
);
    // ---- Counter: the LEDs blink at visibly different rates.
    reg [27:0] count = 0;
    always @(posedge clk) count <= count + 1'b1;
    assign led = count[27:23];

    // ---- LFSR (x^16 + x^14 + x^13 + x^11 + 1): the bytes to send.
    reg [15:0] lfsr = 16'hACE1;
    wire lfsr_step;
    always @(posedge clk)
        if (lfsr_step) lfsr <= {lfsr[14:0], lfsr[15] ^ lfsr[13] ^ lfsr[12] ^ lfsr[10]};

    // ---- UART transmitter, 8N1.
    localparam integer BAUD_DIVIDER = 104;  // 12 MHz / 115200
    reg [6:0] baud = 0;
    reg [3:0] bit_index = 0;
    reg [9:0] shift = 10'h3FF;
    reg       busy = 0;
    wire      baud_tick = baud == BAUD_DIVIDER - 1;
    assign lfsr_step = !busy;
    assign uart_tx = shift[0];
    always @(posedge clk) begin
        baud <= baud_tick || !busy ? 7'd0 : baud + 1'b1;
        if (!busy) begin
            shift <= {1'b1, lfsr[7:0] ^ count[7:0], 1'b0};
            bit_index <= 0;
            busy <= 1;
        end else if (baud_tick) begin
            shift <= {1'b1, shift[9:1]};
            bit_index <= bit_index + 1'b1;
            if (bit_index == 9) busy <= 0;
        end
    end

    // ---- The spi_sck domain: a shift register and a checksum of what came in.
    reg [15:0] received = 0;
    reg [7:0]  checksum = 0;
    always @(posedge spi_sck) begin
        received <= {received[14:0], spi_mosi};
        checksum <= checksum + received[15:8] ^ received[7:0];
        spi_miso <= ^checksum ^ received[15];
    end
endmodule
