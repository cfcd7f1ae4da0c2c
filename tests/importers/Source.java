import com.zelvox.qorbetta.*;

/** A level that sinks. Neither its first value nor what it makes of `full` is a start value. */
public class Source extends FieldModel {
    @Output double level;
    @Parameter double full = 3;

    private double[] levels;

    @Override
    public void setUp(double startTime, double stopTime) {
        levels = new double[] {full};
    }

    @Override
    protected void initialize() {
        level = levels[0];
    }

    @Override
    protected void step(double time, double stepSize) {
        level = levels[0] - 0.01 * (time + stepSize);
    }
}
