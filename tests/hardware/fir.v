// An FIR filter with one multiplier and one accumulator: y[n] = h[0] x[n] + h[1] x[n-1] + ...
//
// The products and the accumulator have formats of their own: each product is cast, is added, and the sum is cast.
// After `start` a result takes TAPS clocks; `ready` is high for the clock in which y is valid.
module fir #(
    parameter TAPS = 16,
    parameter COEFFICIENTS = "coefficients.hex",
    parameter X_BITS = 16, X_FRACTION = 15,
    parameter H_BITS = 16, H_FRACTION = 15,
    parameter P_BITS = 32, P_FRACTION = 30, P_ROUNDING = "floor", P_OVERFLOW = "wrap",
    parameter S_BITS = 36, S_FRACTION = 30, S_ROUNDING = "floor", S_OVERFLOW = "wrap",
    parameter Y_BITS = 16, Y_FRACTION = 15, Y_ROUNDING = "convergent", Y_OVERFLOW = "saturate"
) (
    input  wire              clock,
    input  wire              start,
    input  wire [X_BITS-1:0] x,
    output wire [Y_BITS-1:0] y,
    output reg               ready
);
    reg [H_BITS-1:0] taps[0:TAPS-1];
    reg [X_BITS-1:0] samples[0:TAPS-1];  // the newest first
    reg [S_BITS-1:0] accumulator;
    integer          k;

    wire [S_BITS-1:0] sum;
    term #(
        .X_BITS(X_BITS), .X_FRACTION(X_FRACTION), .C_BITS(H_BITS), .C_FRACTION(H_FRACTION),
        .P_BITS(P_BITS), .P_FRACTION(P_FRACTION), .P_ROUNDING(P_ROUNDING), .P_OVERFLOW(P_OVERFLOW),
        .S_BITS(S_BITS), .S_FRACTION(S_FRACTION),
        .R_BITS(S_BITS), .R_FRACTION(S_FRACTION), .R_ROUNDING(S_ROUNDING), .R_OVERFLOW(S_OVERFLOW)
    ) add (.sum(accumulator), .x(samples[k]), .c(taps[k]), .r(sum));

    cast #(
        .A_BITS(S_BITS), .A_FRACTION(S_FRACTION),
        .R_BITS(Y_BITS), .R_FRACTION(Y_FRACTION), .ROUNDING(Y_ROUNDING), .OVERFLOW(Y_OVERFLOW)
    ) cast_result (.a(accumulator), .r(y));

    integer i;
    initial begin
        $readmemh(COEFFICIENTS, taps);
        for (i = 0; i < TAPS; i = i + 1) samples[i] = 0;
        k = 0;
        accumulator = 0;
        ready = 0;
    end

    reg busy = 0;
    always @(posedge clock) begin
        ready <= 0;
        if (start) begin
            for (i = TAPS - 1; i > 0; i = i - 1) samples[i] <= samples[i-1];
            samples[0] <= x;
            accumulator <= 0;
            k <= 0;
            busy <= 1;
        end else if (busy) begin
            accumulator <= sum;
            if (k == TAPS - 1) begin
                busy <= 0;
                ready <= 1;
            end else k <= k + 1;
        end
    end
endmodule
