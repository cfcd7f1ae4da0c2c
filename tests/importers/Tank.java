import com.zelvox.qorbetta.*;

/**
 * A tank that drains. Its level drives the motor, so that both depend on the right one. Neither its first value nor
 * what it makes of `drain` is a start value.
 */
@DefaultExperiment(stopTime = 0.5, stepSize = 1e-3)
public class Tank extends FieldModel {
    @Output double level;
    @Parameter(description = "share of the water that leaves each second") double drain = 1;

    private double[] rates;

    @Override
    public void setUp(double startTime, double stopTime) {
        rates = new double[] {drain};
    }

    @Override
    protected void initialize() {
        level = 12;
    }

    @Override
    protected void step(double time, double stepSize) {
        level *= Math.exp(-rates[0] * stepSize);
    }
}
