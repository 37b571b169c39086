// A small design for the flow demo (scripts/demo.sh): a free-running
// counter shows its top bits on the LEDs; LFSRs make bytes that a UART
// transmitter sends at 115200 baud, a greeting from a ROM between them;
// an SPI-style shift register in its own clock domain (spi_sck) echoes a
// checksum of what it receives. Some 300 cells of an iCE40 HX1K, two
// clocks. The modules keep their hierarchy, so that Yosys counts the cells
// of each. CHANNELS scales the design (tests build a large one with it).
(* keep_hierarchy *)
module lfsr16 (
    input  wire        clk,
    input  wire        step,
    output reg  [15:0] value = 16'hACE1
);
    // x^16 + x^14 + x^13 + x^11 + 1
    always @(posedge clk)
        if (step) value <= {value[14:0], value[15] ^ value[13] ^ value[12] ^ value[10]};
endmodule

(* keep_hierarchy *)
module uart_tx #(parameter integer DIVIDER = 104) (  // 12 MHz / 115200
    input  wire       clk,
    input  wire [7:0] data,
    output wire       ready,  // takes `data` in this cycle
    output wire       tx
);
    reg [6:0] baud = 0;
    reg [3:0] bit_index = 0;
    reg [9:0] shift = 10'h3FF;
    reg       busy = 0;
    wire      baud_tick = baud == DIVIDER - 1;
    assign ready = !busy;
    assign tx = shift[0];
    always @(posedge clk) begin
        baud <= baud_tick || !busy ? 7'd0 : baud + 1'b1;
        if (!busy) begin
            shift <= {1'b1, data, 1'b0};
            bit_index <= 0;
            busy <= 1;
        end else if (baud_tick) begin
            shift <= {1'b1, shift[9:1]};
            bit_index <= bit_index + 1'b1;
            if (bit_index == 9) busy <= 0;
        end
    end
endmodule

(* keep_hierarchy *)
module spi_echo (
    input  wire spi_sck,
    input  wire spi_mosi,
    output reg  spi_miso = 0
);
    reg [15:0] received = 0;
    reg [7:0]  checksum = 0;
    always @(posedge spi_sck) begin
        received <= {received[14:0], spi_mosi};
        checksum <= checksum + (received[15:8] ^ received[7:0]);
        spi_miso <= ^checksum ^ received[15];
    end
endmodule

module top #(parameter integer CHANNELS = 2) (
    input  wire       clk,       // 12 MHz oscillator
    input  wire       spi_sck,   // an external clock
    input  wire       spi_mosi,
    output wire       spi_miso,
    output wire       uart_tx,
    output wire [4:0] led
);
    reg [27:0] count = 0;
    always @(posedge clk) count <= count + 1'b1;
    assign led = count[27:23];

    // The greeting, read asynchronously from a small ROM.
    reg [7:0] greeting [0:15];
    initial $readmemh("greeting.hex", greeting);
    reg [3:0] letter = 0;

    wire        ready;
    wire [15:0] random [0:CHANNELS-1];
    reg  [7:0]  mixed;
    integer i;
    always @* begin
        mixed = count[7:0];
        for (i = 0; i < CHANNELS; i = i + 1) mixed = mixed ^ random[i][7:0];
    end
    genvar c;
    generate
        for (c = 0; c < CHANNELS; c = c + 1) begin : channel
            // Each steps on its own beat, so that no two hold the same value.
            lfsr16 source (.clk(clk), .step(ready ^ count[c]), .value(random[c]));
        end
    endgenerate
    always @(posedge clk) if (ready) letter <= letter + 1'b1;

    uart_tx transmitter (.clk(clk), .data(count[27] ? greeting[letter] : mixed), .ready(ready), .tx(uart_tx));
    spi_echo echo (.spi_sck(spi_sck), .spi_mosi(spi_mosi), .spi_miso(spi_miso));
endmodule
